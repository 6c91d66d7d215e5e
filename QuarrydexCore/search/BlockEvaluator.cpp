#include "QuarrydexCore/search/BlockEvaluator.h"

#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <algorithm>

namespace quarrydex {

namespace {

/// Below one entry in so many, single names are looked up instead of reading the block's heap:
/// a name costs about as much as the heap bytes of this many entries.
constexpr std::size_t listedShare = 8;

/// A heap pass that hits more than one entry in so many goes on in the dense way.
constexpr std::size_t denseShare = 24;

/// Below one entry in so many, values of a column are loaded one by one.
constexpr std::size_t singleShare = 64;

/// Comparisons by vector up to this many extensions, a table beyond.
constexpr std::size_t fewExtensions = 8;

/// Clears the bits of entries for which keep(id) is false.
template <typename Keep>
void keepIf(std::uint64_t* bits, std::size_t words, std::uint32_t first, Keep&& keep) {
    for (std::size_t w = 0; w < words; ++w) {
        for (std::uint64_t left = bits[w]; left != 0; left &= left - 1) {
            const auto bit = static_cast<std::uint32_t>(std::countr_zero(left));
            if (!keep(static_cast<EntryId>(first + w * 64 + bit)))
                bits[w] &= ~(std::uint64_t{1} << bit);
        }
    }
}

/// (flags & mask) == want.
struct FlagTest {
    std::uint8_t mask;
    std::uint8_t want;
};

FlagTest flagTest(const ops::Kind& test, bool neg) {
    return {EntryFlags::dir, test.folder != neg ? EntryFlags::dir : std::uint8_t{0}};
}

FlagTest flagTest(const ops::Junk&, bool neg) {
    return {EntryFlags::junk, neg ? std::uint8_t{0} : EntryFlags::junk};
}

/// What an op asks of the flags, if it asks nothing else.
std::optional<FlagTest> flagTestOf(const OpSet::Op& op) {
    if (const auto* kind = std::get_if<ops::Kind>(&op.test))
        return flagTest(*kind, op.neg);
    if (const auto* junk = std::get_if<ops::Junk>(&op.test))
        return flagTest(*junk, op.neg);
    return std::nullopt;
}

} // namespace

BlockEvaluator::BlockEvaluator(const OpSet& group, const std::atomic<std::uint32_t>& cancelled)
    : group_(group), cancelled_(cancelled), memory_(group.ops().size()) {
    for (std::size_t i = 0; i < memory_.size(); ++i)
        if (const auto* test = std::get_if<ops::Regex>(&group.ops()[i].test))
            memory_[i].regex = test->pattern.clone();
}

void BlockEvaluator::find(std::uint32_t first,
                          std::uint32_t count,
                          std::uint8_t excluded,
                          std::uint64_t* bits) {
    // The first op is often about a flag too: both are then one pass.
    FlagTest flags{excluded, 0};
    std::size_t firstOp = 0;
    if (memory_.size() > 0) {
        if (const auto test = flagTestOf(group_.ops()[0]); test && (test->mask & excluded) == 0) {
            flags = {static_cast<std::uint8_t>(excluded | test->mask), test->want};
            firstOp = 1;
        }
    }
    fillBits({bits, (count + 63) / 64}, count);
    kernels::testFlags(group_.index().base().flags + first, count, flags.mask, flags.want, bits);
    narrowFrom(firstOp, first, count, bits);
}

void BlockEvaluator::narrow(std::uint32_t first, std::uint32_t count, std::uint64_t* bits) {
    narrowFrom(0, first, count, bits);
}

void BlockEvaluator::narrowFrom(std::size_t firstOp,
                                std::uint32_t first,
                                std::uint32_t count,
                                std::uint64_t* bits) {
    Block block{first, count, bits, 0};
    for (std::size_t i = firstOp; i < memory_.size(); ++i) {
        block.live = kernels::countBits({bits, block.words()});
        if (block.live == 0)
            return;
        const OpSet::Op& op = group_.ops()[i];
        std::visit([&](const auto& test) { apply(test, op.neg, block, memory_[i]); }, op.test);
    }
}

void BlockEvaluator::copyBits(const Block& block) {
    std::copy_n(block.bits, block.words(), found_.begin());
}

void BlockEvaluator::keepFound(const Block& block, bool neg) {
    for (std::size_t w = 0; w < block.words(); ++w)
        block.bits[w] &= neg ? ~found_[w] : found_[w];
}

void BlockEvaluator::keepEntries(const BitWords& entries, bool neg, const Block& block) {
    for (std::size_t w = 0; w < block.words(); ++w) {
        const std::uint64_t found = entries[block.first / 64 + w];
        block.bits[w] &= neg ? ~found : found;
    }
}

void BlockEvaluator::flags(const Block& block,
                           std::uint8_t mask,
                           std::uint8_t want,
                           std::uint64_t* bits) const {
    kernels::testFlags(group_.index().base().flags + block.first, block.count, mask, want, bits);
}

void BlockEvaluator::narrowToText(const ops::Text& text,
                                  const Block& block,
                                  Memory& memory,
                                  std::uint64_t* found) {
    if (text.bytes.empty())
        return; // every name holds it
    const VolumeIndex& index = group_.index();
    if (text.needle.empty()) {
        keepIf(found, block.words(), block.first, [&](EntryId id) {
            const std::string_view name = text.isRaw ? index.name(id) : index.foldedName(id);
            return name.find(text.bytes) != std::string_view::npos;
        });
        return;
    }
    const fidx& base = index.base();
    const char* heap = text.isRaw ? base.names : base.folded;
    const NameBlock names{heap, heap + base.name_off[group_.entries()], base.name_off + block.first,
                          block.count};
    if (block.live * listedShare < block.count) {
        kernels::matchListed(names, text.needle, found);
        return;
    }
    (memory.isDense ? kernels::matchDense : kernels::matchSparse)(names, text.needle, heap_.data());
    memory.isDense = kernels::countBits({heap_.data(), block.words()}) * denseShare > block.count;
    for (std::size_t w = 0; w < block.words(); ++w)
        found[w] &= heap_[w];
}

void BlockEvaluator::apply(const ops::Text& test, bool neg, const Block& block, Memory& memory) {
    if (!neg) {
        narrowToText(test, block, memory, block.bits);
        return;
    }
    copyBits(block);
    narrowToText(test, block, memory, found_.data());
    keepFound(block, neg);
}

void BlockEvaluator::apply(const ops::Glob& test, bool neg, const Block& block, Memory& memory) {
    const VolumeIndex& index = group_.index();
    copyBits(block);
    if (!test.literal.needle.empty())
        narrowToText(test.literal, block, memory, found_.data());
    keepIf(found_.data(), block.words(), block.first, [&](EntryId id) {
        return test.pattern.matches(test.literal.isRaw ? index.name(id) : index.foldedName(id));
    });
    keepFound(block, neg);
}

void BlockEvaluator::apply(const ops::Regex& test, bool neg, const Block& block, Memory& memory) {
    if (!test.pattern.isValid()) {
        std::fill_n(block.bits, block.words(), 0);
        return;
    }
    copyBits(block);
    if (!test.literal.needle.empty()) {
        narrowToText(test.literal, block, memory, found_.data());
        if (!test.literal.isRaw) {
            // Folding changes such names, and may cut them, so their fold proves nothing.
            std::copy_n(block.bits, block.words(), heap_.begin());
            flags(block, EntryFlags::nonAscii, EntryFlags::nonAscii, heap_.data());
            for (std::size_t w = 0; w < block.words(); ++w)
                found_[w] |= heap_[w];
        }
    }
    const VolumeIndex& index = group_.index();
    // One name can take a second under a hostile expression: a newer search need not wait for more.
    keepIf(found_.data(), block.words(), block.first, [&](EntryId id) {
        const std::string_view name = index.name(id);
        const bool isEnded = name.data()[name.size()] == 0; // but in a damaged catalogue
        return isEnded && cancelled_.load(std::memory_order_relaxed) == 0 &&
               memory.regex->matches(name.data());
    });
    keepFound(block, neg);
}

void BlockEvaluator::apply(const ops::Ext& test, bool neg, const Block& block, Memory&) {
    const std::uint16_t* column = group_.index().base().ext;
    if (test.ids.size() <= fewExtensions)
        kernels::testAnyOf16(column + block.first, block.count, test.ids, neg, block.bits);
    else
        keepIf(block.bits, block.words(), block.first,
               [&](EntryId id) { return testBit(test.table, column[id]) != neg; });
}

void BlockEvaluator::apply(const ops::Size& test, bool neg, const Block& block, Memory&) {
    const VolumeIndex& index = group_.index();
    const auto [lo, hi] = test.range;
    if (block.live * singleShare < block.count)
        keepIf(block.bits, block.words(), block.first, [&, lo = lo, hi = hi](EntryId id) {
            const std::uint64_t size = index.size(id);
            return (lo <= size && size <= hi) != neg;
        });
    else
        kernels::testRange64(index.base().size + block.first, block.count, lo, hi, neg, block.bits);
}

void BlockEvaluator::apply(const ops::Date& test, bool neg, const Block& block, Memory&) {
    const VolumeIndex& index = group_.index();
    const auto [lo, hi] = test.range;
    if (block.live * singleShare < block.count)
        keepIf(block.bits, block.words(), block.first, [&, lo = lo, hi = hi](EntryId id) {
            const std::uint32_t mtime = index.mtime(id);
            return (lo <= mtime && mtime <= hi) != neg;
        });
    else
        kernels::testRange32(index.base().mtime + block.first, block.count, lo, hi, neg,
                             block.bits);
}

void BlockEvaluator::apply(const ops::PathDir& test, bool neg, const Block& block, Memory&) {
    keepEntries(test.entries, neg, block);
}

void BlockEvaluator::apply(const ops::PathFull& test, bool neg, const Block& block, Memory&) {
    keepEntries(test.entries, neg, block);
}

void BlockEvaluator::apply(const ops::Kind& test, bool neg, const Block& block, Memory&) {
    const auto [mask, want] = flagTest(test, neg);
    flags(block, mask, want, block.bits);
}

void BlockEvaluator::apply(const ops::Junk& test, bool neg, const Block& block, Memory&) {
    const auto [mask, want] = flagTest(test, neg);
    flags(block, mask, want, block.bits);
}

void BlockEvaluator::apply(const ops::Audio& test, bool neg, const Block& block, Memory&) {
    keepEntries(test.entries, neg, block);
}

} // namespace quarrydex
