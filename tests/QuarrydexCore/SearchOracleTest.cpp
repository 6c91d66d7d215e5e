#include "QuarrydexCore/search/Searcher.h"

#include "tests/support/DescribeQuery.h"
#include "tests/support/SlowSearch.h"

#include <array>
#include <random>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::PlainEntry;
using testing::randomCond;
using testing::randomMeta;
using testing::randomStretch;

using Random = std::mt19937_64;

/// What is known of a random catalogue, and the real one.
struct Sample {
    std::vector<PlainEntry> entries;
    std::map<EntryId, AudioMeta> audio;
    std::unique_ptr<VolumeIndex> index;
};

std::size_t below(Random& random, std::size_t n) {
    return static_cast<std::size_t>(random() % n);
}

constexpr std::array<const char*, 40> pieces = {
    // Common and rare letters, both cases.
    "a", "b", "ab", "A", "B", "e", "-", "_", " ", "1", "2024", "read", "README", "remix", "Mix",
    "x", "q", "SS", "fi", "zz", "*", "?", "[",
    // Accents in both forms, letters that fold to more or fewer bytes, scripts without case.
    "\u00e9", "E\u0301", "\u00c9", "\u00df", "\ufb01", "\u304c", "\u304b\u3099", "\u304b", "\uac00",
    "\u1100\u1161", "\u0130", "\u0416", "\u0436",
    // What is not UTF-8, or not to be seen.
    "\xff", "\xc3", "\n", "\x01"};

constexpr std::array<const char*, 9> endings = {
    ".mp3", ".MP3", ".txt", ".md", ".tar.gz", ".caf\u00e9", ".", "", ".averylongextension"};

std::string randomName(Random& random) {
    std::string name = below(random, 12) == 0 ? "." : "";
    const std::size_t count = 1 + below(random, below(random, 20) == 0 ? 40 : 5);
    for (std::size_t i = 0; i < count; ++i)
        name += pieces[below(random, pieces.size())];
    return name + endings[below(random, endings.size())];
}

Sample randomSample(Random& random, std::size_t count) {
    Sample sample;
    std::vector<EntryId> folders;
    for (EntryId id = 0; id < count; ++id) {
        PlainEntry entry;
        const bool isRoot = id == 0 || below(random, count) == 0;
        const bool isFolder = isRoot || below(random, 8) == 0;
        entry.name = randomName(random);
        if (isRoot) {
            entry.name = below(random, 3) == 0 ? "/" : "/home/" + randomName(random);
            entry.flags |= EntryFlags::root;
        } else {
            // Mostly in the latest folders, as a scan leaves them, in runs.
            entry.parent =
                below(random, 3) != 0 ? folders.back() : folders[below(random, folders.size())];
            constexpr int inherited = EntryFlags::hidden | EntryFlags::junk;
            entry.flags = static_cast<std::uint8_t>(
                entry.flags | (sample.entries[entry.parent].flags & inherited));
        }
        if (isFolder)
            entry.flags |= EntryFlags::dir;
        for (auto [flag, share] :
             {std::pair{EntryFlags::hidden, 30}, {EntryFlags::junk, 20}, {EntryFlags::deleted, 25}})
            if (!isRoot && below(random, static_cast<std::size_t>(share)) == 0)
                entry.flags |= flag;
        entry.size = below(random, 5) == 0 ? 0 : random() >> (below(random, 60) + 2);
        entry.mtime = static_cast<std::uint32_t>(random() >> (32 + below(random, 12)));
        if (isFolder)
            folders.push_back(id);
        sample.entries.push_back(std::move(entry));
    }
    sample.index = testing::catalogOf(sample.entries);
    std::vector<AudioTable::Analysed> rows;
    for (EntryId id = 0; id < count; ++id)
        if (below(random, 3) == 0) {
            sample.audio[id] = randomMeta(random);
            rows.push_back({id, 1, sample.audio[id]});
        }
    sample.index->audio().upsert(rows);
    return sample;
}

Pred globFrom(Random& random, std::string text) {
    for (std::size_t i = 0; i < 1 + below(random, 3); ++i) {
        const std::size_t from = below(random, text.size() + 1);
        text.replace(from, below(random, 4), below(random, 2) == 0 ? "*" : "?");
    }
    return preds::Glob{below(random, 3) == 0 ? text : "*" + text + "*"};
}

Pred regexFrom(Random& random, const std::string& text) {
    std::string pattern;
    for (char c : text.substr(0, 12)) {
        if (c == '\0')
            continue;
        switch (below(random, 7)) {
        case 0:
            pattern += '.';
            break;
        case 1:
            pattern += "[^/]*";
            break;
        default:
            if (std::string_view("\\.[]*+?{}()|^$\n").find(c) != std::string_view::npos)
                pattern += '\\';
            pattern += c;
        }
    }
    switch (below(random, 8)) {
    case 0:
        return preds::Regex{"^" + pattern};
    case 1:
        return preds::Regex{pattern + "$"};
    case 2:
        return preds::Regex{"(" + pattern + "|x.*b)"};
    case 3:
        return preds::Regex{pattern + "(ab)?[0-9]*"};
    case 4:
        return preds::Regex{"(" + pattern};
    default:
        return preds::Regex{pattern};
    }
}

/// A predicate that some entry of the catalogue satisfies, or nearly does.
Pred randomPred(Random& random, const Sample& sample) {
    const EntryId id = static_cast<EntryId>(below(random, sample.entries.size()));
    const PlainEntry& entry = sample.entries[id];
    switch (below(random, 11)) {
    case 0:
    case 1:
        return preds::Name{randomStretch(random, entry.name)};
    case 2:
        return globFrom(random, randomStretch(random, entry.name));
    case 3:
        return regexFrom(random, randomStretch(random, entry.name));
    case 4: {
        preds::Ext ext;
        constexpr std::array<const char*, 12> known = {
            "mp3", "txt", "md", "gz", "caf\u00e9", "cafe", "zip", "x1", "x2", "x3", "x4", "x5"};
        for (std::size_t i = 0; i < 1 + below(random, 11); ++i)
            ext.exts.push_back(known[below(random, known.size())]);
        return ext;
    }
    case 5:
        return preds::Size{{entry.size >> below(random, 2), entry.size + below(random, 2) * 999}};
    case 6:
        return preds::Date{{entry.mtime >> below(random, 2), entry.mtime}};
    case 7: {
        if (entry.parent == noParent)
            return preds::Path{"home"};
        const PlainEntry& folder = sample.entries[entry.parent];
        const std::string part = randomStretch(random, folder.name);
        switch (below(random, 5)) {
        case 0:
            return preds::Path{part + "/"};
        case 1:
            return preds::Path{"/" + part};
        case 2:
            return preds::Path{folder.name + "/" + entry.name.substr(0, 2)};
        case 3:
            return preds::Path{folder.name.substr(folder.name.size() / 2) + "/" +
                               entry.name.substr(0, 1)};
        default:
            return preds::Path{part};
        }
    }
    case 8:
        return preds::Kind{below(random, 2) == 0};
    case 9:
        return preds::Junk{};
    default:
        return preds::Audio{randomCond(random, sample.audio.contains(id) ? sample.audio.at(id)
                                                                         : randomMeta(random))};
    }
}

Query randomQuery(Random& random, const Sample& sample) {
    Query query;
    query.groups.resize(below(random, 5) == 0 ? 2 + below(random, 2) : 1);
    for (std::vector<Term>& group : query.groups)
        for (std::size_t i = 0; i < 1 + below(random, below(random, 3) == 0 ? 4 : 1); ++i)
            group.push_back(
                {below(random, 3) == 0, randomPred(random, sample), below(random, 3) == 0});
    return query;
}

/// How often each combination was tried, so that the test cannot quietly stop trying one.
struct Coverage {
    std::map<std::array<std::size_t, 5>, int> tried; ///< pred, neg, case, junk, several groups
    int queries = 0;
    int telling = 0; ///< between 1 and n − 1 hits

    void count(const Query& query, bool showJunk, std::size_t hits, std::size_t entries) {
        ++queries;
        telling += hits > 0 && hits < entries ? 1 : 0;
        for (const auto& group : query.groups)
            for (const Term& term : group)
                ++tried[{term.pred.index(), term.neg, term.caseSensitive, showJunk,
                         query.groups.size() > 1}];
    }
};

/// Says of the first entry that differs what it is, rather than print two long lists.
void expectSame(const Sample& sample,
                const std::optional<std::vector<EntryId>>& found,
                const std::vector<EntryId>& expected) {
    ASSERT_TRUE(found.has_value());
    const auto [a, b] = std::ranges::mismatch(*found, expected);
    if (a == found->end() && b == expected.end())
        return;
    const bool isExtra = b == expected.end() || (a != found->end() && *a < *b);
    const EntryId id = isExtra ? *a : *b;
    FAIL() << (isExtra ? "found wrongly: " : "missed: ") << id << " "
           << ::testing::PrintToString(sample.entries[id].name) << " flags "
           << int{sample.entries[id].flags} << " in " << sample.entries[id].parent;
}

void compare(Random& random, const Sample& sample, int queries, Coverage& coverage) {
    const testing::SlowSearch slow(sample.entries, sample.audio);
    Searcher searcher(*sample.index);
    searcher.setThreads(1 + static_cast<unsigned>(below(random, 4)));
    for (int i = 0; i < queries; ++i) {
        Query query = randomQuery(random, sample);
        const bool showJunk = below(random, 2) == 0;
        SCOPED_TRACE(describe(query) + (showJunk ? ", with junk" : ""));
        const auto expected = slow.search(query, showJunk);
        coverage.count(query, showJunk, expected.size(), sample.entries.size());
        expectSame(sample, searcher.search(query, showJunk), expected);
        if (::testing::Test::HasFailure())
            return;
        // Typing on: the same query with letters added to its last word must refine correctly.
        auto* word = std::get_if<preds::Name>(&query.groups.back().back().pred);
        for (int more = 0; word != nullptr && more < 3; ++more) {
            word->text += randomStretch(random, pieces[below(random, pieces.size())]);
            SCOPED_TRACE("after typing on: " + describe(query));
            expectSame(sample, searcher.search(query, showJunk), slow.search(query, showJunk));
        }
    }
}

TEST(SearchOracleTest, FastSearchEqualsTheSlowOneOnManySmallCatalogues) {
    Random random(20240229);
    Coverage coverage;
    for (int round = 0; round < 120 && !HasFatalFailure(); ++round)
        compare(random, randomSample(random, 2 + below(random, 400)), 60, coverage);
    EXPECT_GT(coverage.telling * 10, coverage.queries * 6)
        << "most queries must tell entries apart";
    for (std::size_t pred = 0; pred < std::variant_size_v<Pred>; ++pred)
        for (std::size_t bits = 0; bits < 16; ++bits) {
            const std::array<std::size_t, 5> kind = {pred, bits & 1, bits >> 1 & 1, bits >> 2 & 1,
                                                     bits >> 3};
            EXPECT_GE(coverage.tried[kind], 10) << "pred " << pred << " bits " << bits;
        }
}

TEST(SearchOracleTest, FastSearchEqualsTheSlowOneAcrossBlocksAndWorkers) {
    // Sizes around the block length and beyond several, where words, blocks and parts meet.
    Random random(31);
    Coverage coverage;
    for (std::size_t count : {std::size_t{63}, std::size_t{64}, std::size_t{65},
                              std::size_t{16'384}, std::size_t{16'385}, std::size_t{50'000}})
        if (!HasFatalFailure())
            compare(random, randomSample(random, count), count > 1000 ? 40 : 100, coverage);
}

} // namespace

} // namespace quarrydex
