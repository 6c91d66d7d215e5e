#include "QuarrydexCore/search/OpSet.h"

#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/search/PathMarks.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>

namespace quarrydex {

namespace {

using K = OpSet::K;
using Op = OpSet::Op;

/// Turns one term into one op. The byte counts of the two heaps are taken when first asked for.
class Compiler {
  public:
    Compiler(const VolumeIndex& index, std::uint32_t n, unsigned threads)
        : index_(index), n_(n), threads_(threads) {}

    Op compile(const Term& term) {
        caseSensitive_ = term.caseSensitive;
        Op op = std::visit([this](const auto& pred) { return make(pred); }, term.pred);
        op.neg = term.neg;
        return op;
    }

  private:
    Op make(const preds::Name& pred) {
        return {caseSensitive_ ? K::nameCS : K::name, false, text(inFoldOf(pred.text))};
    }

    Op make(const preds::Glob& pred) {
        const std::string pattern = inFoldOf(pred.pattern);
        return {K::glob, false, ops::Glob{Glob(pattern), text(std::string(literalRun(pattern)))}};
    }

    Op make(const preds::Regex& pred) {
        RegexPattern pattern(pred.pattern, {.caseSensitive = caseSensitive_});
        ops::Text literal = text(pattern.requiredLiteral());
        return {K::regex, false, ops::Regex{std::move(pattern), std::move(literal)}};
    }

    Op make(const preds::Ext& pred) {
        ops::Ext test{index_.extIDs(pred.exts), BitWords(65536 / 64)};
        for (std::uint16_t id : test.ids)
            setBit(test.table, id);
        return {K::ext, false, std::move(test)};
    }

    Op make(const preds::Size& pred) { return {K::size, false, ops::Size{pred.range}}; }

    Op make(const preds::Date& pred) { return {K::date, false, ops::Date{pred.range}}; }

    Op make(const preds::Path& pred) {
        const std::string needle = fold(pred.text);
        if (needle.find('/') != std::string::npos)
            return {K::pathFull, false,
                    ops::PathFull{pathHits(index_, needle, n_, threads_).entries}};
        caseSensitive_ = false;
        return {K::pathDir, false,
                ops::PathDir{dirHits(index_, text(needle), n_, threads_).entries}};
    }

    Op make(const preds::Kind& pred) { return {K::kind, false, ops::Kind{pred.folder}}; }

    Op make(const preds::Junk&) { return {K::junk, false, ops::Junk{}}; }

    Op make(const preds::Audio& pred) {
        ops::Audio test{BitWords(bitWords(n_))};
        index_.audio().fill(pred.cond, test.entries, n_);
        return {K::audio, false, std::move(test)};
    }

    /// The text in the form of the column it is looked for in.
    std::string inFoldOf(const std::string& text) const {
        return caseSensitive_ ? text : fold(text);
    }

    ops::Text text(std::string bytes) {
        ops::Text out{std::move(bytes), caseSensitive_, {}};
        const bool searchable = !out.bytes.empty() && out.bytes.size() <= Needle::maxLength &&
                                out.bytes.find('\0') == std::string::npos &&
                                (out.isRaw || out.bytes.find(foldFiller) == std::string::npos);
        if (searchable)
            out.needle = Needle(out.bytes, counts());
        return out;
    }

    const ByteCounts& counts() {
        std::optional<ByteCounts>& counts = caseSensitive_ ? rawCounts_ : foldedCounts_;
        if (!counts) {
            const fidx& base = index_.base();
            counts = sampleBytes({caseSensitive_ ? base.names : base.folded, base.name_off[n_]});
        }
        return *counts;
    }

    const VolumeIndex& index_;
    const std::uint32_t n_;
    const unsigned threads_;
    bool caseSensitive_ = false; ///< of the term being compiled
    std::optional<ByteCounts> rawCounts_;
    std::optional<ByteCounts> foldedCounts_;
};

} // namespace

OpSet OpSet::compile(const VolumeIndex& index,
                     std::span<const Term> terms,
                     std::uint32_t n,
                     unsigned threads) {
    OpSet set(index, n);
    Compiler compiler(index, n, threads);
    set.ops_.reserve(terms.size());
    for (const Term& term : terms)
        set.ops_.push_back(compiler.compile(term));
    std::ranges::stable_sort(set.ops_, {}, [](const Op& op) { return cost(op.k); });
    return set;
}

int OpSet::cost(K k) {
    switch (k) {
    case K::kind:
    case K::junk:
        return 0;
    case K::size:
    case K::date:
    case K::ext:
        return 1;
    case K::audio:
        return 2;
    case K::name:
    case K::nameCS:
        return 5;
    case K::glob:
        return 6;
    case K::pathDir:
        return 7;
    case K::pathFull:
        return 8;
    case K::regex:
        return 9;
    }
    return 0; // unreachable: every case returns
}

} // namespace quarrydex
