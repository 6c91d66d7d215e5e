/// One search over the whole catalogue, by kind of term. Every run has a Searcher of its own: a
/// repeated query would measure its cache.
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/search/RegexPattern.h"
#include "QuarrydexCore/search/Searcher.h"
#include "QuarrydexCore/text/Fold.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/SyntheticCatalog.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>

namespace quarrydex::bench {

namespace {

constexpr std::size_t rounds = 9;

Query oneTerm(Pred pred, bool caseSensitive = false) {
    return {{{{false, std::move(pred), caseSensitive}}}};
}

std::size_t hitsOf(const VolumeIndex& index, const Query& query) {
    Searcher searcher(index);
    return searcher.searchBits(query, true)->count;
}

/// Shares body(first, last) out to all processors.
template <typename Body> void overAll(std::size_t n, Body&& body) {
    const unsigned threads = processorCount();
    parallelFor(threads, threads,
                [&](std::size_t i) { body(n * i / threads, n * (i + 1) / threads); });
}

/// Reads the bytes once, all processors at work.
void readOnce(const void* data, std::size_t bytes) {
    const auto* words = static_cast<const std::uint64_t*>(data);
    overAll(bytes / sizeof *words, [&](std::size_t first, std::size_t last) {
        std::array<std::uint64_t, 8> sums{};
        for (std::size_t i = first; i + 8 <= last; i += 8)
            for (std::size_t k = 0; k < 8; ++k)
                sums[k] += words[i + k];
        keep(sums);
    });
}

/// The obvious way: memmem on each folded name.
std::size_t memmemEach(const VolumeIndex& index, const std::string& needle) {
    std::atomic<std::size_t> total{0};
    const fidx& base = index.base();
    overAll(index.count(), [&](std::size_t first, std::size_t last) {
        std::size_t found = 0;
        for (std::size_t id = first; id < last; ++id) {
            const char* name = base.folded + base.name_off[id];
            found += ::memmem(name, base.name_off[id + 1] - base.name_off[id] - 1, needle.data(),
                              needle.size()) != nullptr;
        }
        total += found;
    });
    return total;
}

std::size_t heapBytes(const VolumeIndex& index) {
    return index.base().name_off[index.count()];
}

std::string withShare(const std::string& what, std::size_t hits, std::size_t entries) {
    char text[32];
    std::snprintf(text, sizeof text, "  (%.2g %% hit)",
                  100.0 * static_cast<double>(hits) / static_cast<double>(entries));
    return what + text;
}

void heapRow(Report& report,
             const VolumeIndex& index,
             const std::string& step,
             const Query& query,
             double goal) {
    const auto [ours, read] = alternate(
        rounds, [&] { keep(hitsOf(index, query)); },
        [&] { readOnce(index.base().folded, heapBytes(index)); });
    report.row({.step = withShare(step, hitsOf(index, query), index.count()),
                .ours = ours.wallMs,
                .anchor = read.wallMs,
                .anchorName = "one read of the heap",
                .goal = goal});
}

/// Stretches of the catalogue's own names of one length, by how often they occur in a sample.
std::vector<std::pair<std::size_t, std::string>> stretches(const VolumeIndex& index,
                                                           std::size_t length) {
    std::map<std::string, std::size_t> counts;
    const std::uint32_t step = std::max(1U, index.count() / 20'000);
    for (EntryId id = 0; id < index.count(); id += step) {
        const std::string_view name = index.foldedName(id);
        for (std::size_t i = 0; i + length <= name.size(); ++i)
            ++counts[std::string(name.substr(i, length))];
    }
    std::vector<std::pair<std::size_t, std::string>> out;
    out.reserve(counts.size());
    for (const auto& [text, count] : counts)
        out.emplace_back(count, text);
    std::ranges::sort(out, std::greater<>());
    return out;
}

} // namespace

QDX_BENCH(keystroke) {
    const auto catalog = syntheticCatalog(report.entries());
    const VolumeIndex& index = *catalog;
    report.progress("needles");
    const auto word = [](const std::string& text) { return oneTerm(preds::Name{text}); };
    heapRow(report, index, "absent needle 'qzjxwv'", word("qzjxwv"), 1.5);
    const auto six = stretches(index, 6);
    const auto rare = std::ranges::find_if(six, [](const auto& s) { return s.first <= 2; });
    heapRow(report, index, "rare needle '" + rare->second + "'", word(rare->second), 1.5);
    for (std::size_t length = 1; length <= 6; ++length) {
        const auto all = stretches(index, length);
        const std::string& common = all.front().second;
        heapRow(report, index, "most common of " + std::to_string(length) + ": '" + common + "'",
                word(common), 2.5);
        const std::string& middling = all[all.size() / 20].second;
        heapRow(report, index, "middling of " + std::to_string(length) + ": '" + middling + "'",
                word(middling), 2.5);
    }
    for (const std::string& needle : {std::string("qzjxwv"), six.front().second}) {
        const auto [ours, memmem] = alternate(
            3, [&] { keep(hitsOf(index, word(needle))); },
            [&] { keep(memmemEach(index, needle)); });
        report.row({.step = "'" + needle + "' against memmem",
                    .ours = ours.wallMs,
                    .anchor = memmem.wallMs,
                    .anchorName = "memmem on every name"});
    }
    report.progress("other terms");
    heapRow(report, index, "glob *.mp3", oneTerm(preds::Glob{"*.mp3"}), 2.5);
    heapRow(report, index, "glob *" + six[40].second + "?*",
            oneTerm(preds::Glob{"*" + six[40].second + "?*"}), 2.5);
    heapRow(report, index, "ext:mp3,flac,wav", oneTerm(preds::Ext{{"mp3", "flac", "wav"}}), 2.5);
    heapRow(report, index, "path:" + six[9].second, oneTerm(preds::Path{six[9].second}), 2.5);
    heapRow(report, index, "path:synthetic/" + six[9].second.substr(0, 3),
            oneTerm(preds::Path{"synthetic/" + six[9].second.substr(0, 3)}), 2.5);
}

QDX_BENCH(columns) {
    const auto catalog = syntheticCatalog(report.entries());
    const VolumeIndex& index = *catalog;
    const fidx& base = index.base();
    const std::size_t n = index.count();
    const auto column = [&](const char* step, const Query& query, const void* data,
                            std::size_t width, const char* anchor) {
        const auto [ours, read] = alternate(
            25, [&] { keep(hitsOf(index, query)); },
            [&] {
                readOnce(base.flags, n);
                if (data != nullptr)
                    readOnce(data, n * width);
            });
        report.row({.step = withShare(step, hitsOf(index, query), n),
                    .ours = ours.wallMs,
                    .anchor = read.wallMs,
                    .anchorName = anchor,
                    .goal = 1.4});
    };
    column("everything shown", {}, nullptr, 0, "one read of flags");
    column("folder:", oneTerm(preds::Kind{true}), nullptr, 0, "one read of flags");
    column("size:1mb..10mb", oneTerm(preds::Size{{1 << 20, 10 << 20}}), base.size, 8,
           "one read of flags, size");
    column("dm: one year", oneTerm(preds::Date{{1'500'000'000, 1'531'536'000}}), base.mtime, 4,
           "one read of flags, mtime");
    column("ext: 3", oneTerm(preds::Ext{{"mp3", "flac", "wav"}}), base.ext, 2,
           "one read of flags, ext");
}

QDX_BENCH(regex) {
    const auto catalog = syntheticCatalog(report.entries());
    const VolumeIndex& index = *catalog;
    const std::string common = stretches(index, 4)[3].second;

    struct Case {
        std::string pattern;
        double goal; ///< 0 where the pattern holds no literal to look for first
    };

    for (const Case& c : {Case{"qzjx[0-9]+", 0.25},
                          {common + ".*[0-9]$", 0.25},
                          {"^[a-m].*\\.mp3$", 0.25},
                          {"(a|e)[0-9]+(x|y)", 0.0}}) {
        const std::string& pattern = c.pattern;
        report.progress("regex " + pattern);
        const Query query = oneTerm(preds::Regex{pattern});
        const auto [ours, every] = alternate(
            1, [&] { keep(hitsOf(index, query)); },
            [&] {
                overAll(index.count(), [&](std::size_t first, std::size_t last) {
                    RegexPattern regex(pattern, {});
                    std::size_t found = 0;
                    for (std::size_t id = first; id < last; ++id)
                        found += regex.matches(index.name(static_cast<EntryId>(id)).data());
                    keep(found);
                });
            });
        report.row({.step = withShare(pattern, hitsOf(index, query), index.count()),
                    .ours = ours.wallMs,
                    .anchor = every.wallMs,
                    .anchorName = "regexec on every name",
                    .goal = c.goal});
    }
}

} // namespace quarrydex::bench
