/// A snapshot may hold anything: cut, from elsewhere, or with any byte changed. Loading refuses
/// what is no snapshot; whatever it takes can be read, searched and sorted without harm; validation
/// finds what contradicts itself.
#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/query/Query.h"
#include "QuarrydexCore/search/Kernels.h"
#include "QuarrydexCore/search/Searcher.h"

#include "tests/support/Snapshots.h"

#include <filesystem>

#include <unistd.h>

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

constexpr std::size_t sectionTable = 1336;

std::size_t offsetOf(std::string_view file, std::size_t section) {
    return loadLE<std::uint64_t>(file.data() + sectionTable + 16 * section);
}

template <typename T> void put(std::string& file, std::size_t at, T value) {
    std::memcpy(file.data() + at, &value, sizeof value);
}

/// A saved catalogue with all orders, as bytes.
const std::string& sample() {
    static const std::string bytes = [] {
        const TempTree tree;
        Random random(3);
        const Catalog catalog = countedCatalog(randomEntries(random, {400, Names::fewWords, 2}));
        catalog.buildOrders();
        for (EntryId id = 5; id < 400; id += 50)
            catalog.change(SortKey::date, id, id);
        catalog.index->save(tree.path("a.idx"), someInfo());
        return readBytes(tree.path("a.idx"));
    }();
    return bytes;
}

class SnapshotDamageTest : public ::testing::Test {
  protected:
    static std::unique_ptr<VolumeIndex> loadFrom(const std::string& file) {
        auto result = VolumeIndex::load(file, {}, 10'000, 1 << 20);
        return result ? std::move(result->index) : nullptr;
    }

    /// A catalogue of these bytes; nullptr when they are none.
    [[nodiscard]] std::unique_ptr<VolumeIndex> loaded(std::string_view bytes) const {
        writeBytes(path, bytes);
        return loadFrom(path);
    }

    TempTree tree;
    const std::string path = tree.path("a.idx");
};

Query queryOf(Pred pred) {
    Term term;
    term.pred = std::move(pred);
    return Query{{{term}}};
}

/// Reads everything in every way. What comes out is of no interest.
void useUp(VolumeIndex& index) {
    std::size_t bytes = 0;
    for (EntryId id = 0; id < index.count(); ++id) {
        bytes += index.name(id).size() + index.foldedName(id).size() + index.path(id).size();
        bytes += index.ext(id).value_or("").size();
    }
    EXPECT_LT(bytes, std::size_t{1} << 40);
    static_cast<void>(index.directories(index.count()));
    Searcher searcher(index);
    for (const char* word : {"a", "readme", "\x01", "index.html.of.no.such.name"})
        for (const Query& query : {queryOf(preds::Name{word}), queryOf(preds::Path{word}),
                                   queryOf(preds::Path{std::string("/") + word}),
                                   queryOf(preds::Glob{std::string("*") + word + "?"}),
                                   queryOf(preds::Regex{std::string("^[a-c]*") + word})})
            static_cast<void>(searcher.search(query, true));
    const HitSet hits = everything(index);
    for (const SortKey key : allSortKeys)
        for (const bool descending : {false, true})
            for (const std::size_t limit : {std::size_t{5}, hits.count})
                for (const std::size_t direct : {std::size_t{0}, hits.count})
                    EXPECT_LE(index.ordered(hits, key, {descending, limit, direct}).size(), limit);
    for (SortKey key : allSortKeys)
        static_cast<void>(index.rebuildPermutation(key));
}

// --- What loading refuses -----------------------------------------------------------------------

TEST_F(SnapshotDamageTest, AHeaderThatIsNoneIsRefused) {

    const struct {
        const char* what;
        std::size_t at;
        std::uint64_t value;
        std::size_t bytes;
    } cases[] = {
        {"magic", 7, 'Z', 1},
        {"version 2", 8, 2, 4},
        {"version 4", 8, 4, 4},
        {"header size", 12, 1673, 4},
        {"end mark", 1664, 'e', 1},
        {"one entry more", 1320, 401, 4},
        {"all entries", 1320, 0xFFFFFFFF, 4},
        {"more entries than there is room for", 1320, 10'001, 4},
        {"no extension id", 1324, 0, 4},
        {"65,536 extension ids", 1324, 65'536, 4},
        {"a heap of no bytes", 1328, 0, 8},
        {"a heap beyond memory", 1328, ~0ULL, 8},
        {"file size", 1656, sample().size() + 1, 8},
        {"a section between the pages", sectionTable + 16 * 3, 16'385, 8},
        {"a section at the end", sectionTable + 16 * 3, sample().size(), 8},
        {"a section near 2^64", sectionTable + 16 * 3, ~0ULL - 16'383, 8},
        {"a length near 2^64", sectionTable + 16 * 10 + 8, ~0ULL, 8},
        {"a column too short", sectionTable + 16 * 4 + 8, 8 * 399, 8},
        {"half an order's entry", sectionTable + 16 * 10 + 8, 398, 8},
        {"an order longer than the catalogue", sectionTable + 16 * 10 + 8, 1604, 8},
        {"half a word of moved entries", sectionTable + 16 * 18 + 8, 12, 8},
    };

    for (const auto& one : cases) {
        std::string bytes = sample();
        std::memcpy(bytes.data() + one.at, &one.value, one.bytes);
        EXPECT_EQ(loaded(bytes), nullptr) << one.what;
    }
    EXPECT_NE(loaded(sample()), nullptr);
    EXPECT_FALSE(VolumeIndex::load(path, {}, 399, 1 << 20).has_value());
    EXPECT_TRUE(VolumeIndex::load(path, {}, 400, 1 << 20).has_value());
}

TEST_F(SnapshotDamageTest, WhatIsNoFileIsRefused) {
    tree.folder("folder.idx");
    tree.fifo("fifo.idx");
    tree.file("empty.idx", 0);
    tree.file("zeros.idx", 1 << 20);
    tree.link("loop.idx", "loop.idx");
    for (const char* name :
         {"none.idx", "folder.idx", "fifo.idx", "empty.idx", "zeros.idx", "loop.idx"}) {
        EXPECT_EQ(loadFrom(tree.path(name)), nullptr) << name;
        EXPECT_FALSE(VolumeIndex::peek(tree.path(name)).has_value()) << name;
        EXPECT_FALSE(CacheFile::read(tree.path(name)).has_value() &&
                     !std::filesystem::is_regular_file(tree.path(name)))
            << name;
    }
}

TEST_F(SnapshotDamageTest, AFileCutAnywhereIsRefused) {
    writeBytes(path, sample());
    for (std::size_t length = sample().size(); length-- > 0;) {
        if (length > 2000 && length % 16'384 > 2 && length % 997 != 0)
            continue; // each of the header's, those around every section, and some others
        ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(length)), 0);
        ASSERT_EQ(loadFrom(path), nullptr) << length;
    }
}

// --- What validation finds ----------------------------------------------------------------------

TEST_F(SnapshotDamageTest, ContradictionsAreFound) {
    const auto at = [](std::size_t section, std::size_t byte) {
        return offsetOf(sample(), section) + byte;
    };
    const std::uint32_t heapEnd = loadLE<std::uint32_t>(sample().data() + at(2, 4 * 400));
    const std::uint32_t second = loadLE<std::uint32_t>(sample().data() + at(2, 4 * 101));
    // Two entries that moved in the order by date: nothing is known of their places.
    std::size_t movedRow = 0;
    while (loadLE<EntryId>(sample().data() + at(13, 4 * movedRow)) != 55)
        ++movedRow;
    const EntryId firstRow = loadLE<std::uint32_t>(sample().data() + at(12, 0));
    const EntryId lastRow = loadLE<std::uint32_t>(sample().data() + at(12, 4 * 397));

    const struct {
        const char* what;
        std::size_t at;
        std::uint32_t value;
        std::size_t bytes = 4;
    } cases[] = {
        {"an entry is its own parent", at(3, 4 * 100), 100},
        {"two entries are each other's parents", at(3, 4 * 100), 101},
        {"a parent beyond the count", at(3, 4 * 100), 400},
        {"an entry without a parent that is no root", at(3, 4 * 100), noParent},
        {"a root with a parent", at(3, 4), 0},
        {"a root that is marked as none", at(7, 1), EntryFlags::dir, 1},
        {"an offset that falls", at(2, 4 * 100), 0},
        {"an offset beyond the heap", at(2, 4 * 100), heapEnd + 1},
        {"an offset of all ones", at(2, 4 * 100), 0xFFFFFFFF},
        {"two equal offsets", at(2, 4 * 100), second},
        {"the closing offset", at(2, 4 * 400), heapEnd - 1},
        {"a name that does not end", at(0, second - 1), 'x', 1},
        {"a folded name that does not end", at(1, second - 1), 'x', 1},
        {"a name that ends early", at(0, second - 2), 0, 1},
        {"an extension that nobody has", at(8, 2 * 100), 60'000, 2},
        {"an extension text that does not end", at(9, 16 + 15), 'x', 1},
        {"a deleted entry that was not counted", at(7, 396), EntryFlags::deleted, 1},
        {"an order with an id beyond the count", at(10, 40), 400},
        {"an order with an id far beyond", at(11, 40), 0xFFFFFFFF},
        {"an order with an id twice", at(12, 0), lastRow},
        {"an order with a moved id twice", at(13, 4 * movedRow), 105},
        {"an order with a root", at(14, 0), 0},
        {"an order that is none", at(12, 4 * 397), firstRow},
        {"moved bits that were not set", at(18, 0), 0},
    };

    for (const auto& one : cases) {
        std::string bytes = sample();
        ASSERT_LE(one.at + one.bytes, bytes.size());
        std::memcpy(bytes.data() + one.at, &one.value, one.bytes);
        ASSERT_NE(bytes, sample()) << one.what;
        const auto index = loaded(bytes);
        if (index == nullptr)
            continue; // found at once
        EXPECT_FALSE(index->validate()) << one.what;
        useUp(*index);
    }
    EXPECT_TRUE(loaded(sample())->validate());
}

TEST_F(SnapshotDamageTest, AnOrderInAnotherOrderIsDropped) {
    for (std::size_t key = 0; key < sortKeyCount; ++key) {
        if (key == indexOf(SortKey::date))
            continue; // its first rows may have moved
        std::string bytes = sample();
        const std::size_t first = offsetOf(bytes, 10 + key);
        std::swap_ranges(bytes.begin() + first, bytes.begin() + first + 4,
                         bytes.begin() + first + 4 * 300);
        const auto index = loaded(bytes);
        ASSERT_NE(index, nullptr);
        EXPECT_FALSE(index->validate()) << key;
        expectRightOrders(*index); // without it
    }
}

TEST_F(SnapshotDamageTest, SiblingsInTheWrongOrderAreFound) {
    constexpr std::uint8_t rootFlags = EntryFlags::dir | EntryFlags::root;
    const auto index = catalogOf({{"/a", noParent, rootFlags},
                                  {"x", 0},
                                  {"y", 0, EntryFlags::dir},
                                  {"z", 2},
                                  {"/b", noParent, rootFlags},
                                  {"x", 4},
                                  {"x", 4}});
    index->rebuildPermutation(SortKey::path);
    index->save(path, someInfo());
    const std::string sound = readBytes(path);
    const std::vector<EntryId> right = {1, 2, 3, 5, 6};
    std::vector<EntryId> order = right;
    do {
        std::string bytes = sound;
        std::memcpy(bytes.data() + offsetOf(bytes, 11), order.data(), order.size() * 4);
        EXPECT_EQ(loaded(bytes)->validate(), order == right) << ::testing::PrintToString(order);
    } while (std::next_permutation(order.begin(), order.end()));
}

// --- Whatever the bytes -------------------------------------------------------------------------

TEST_F(SnapshotDamageTest, NoDamageDoesHarm) {
    const auto lengthOf = [](std::size_t section) {
        return loadLE<std::uint64_t>(sample().data() + sectionTable + 16 * section + 8);
    };
    const auto tryOut = [&](const std::string& bytes) {
        if (const auto index = loaded(bytes)) {
            useUp(*index);
            static_cast<void>(index->validate());
            useUp(*index);
        }
    };
    for (std::size_t section = 0; section < 20; ++section)
        for (const char fill : {'\0', '\xFF', 'a'}) {
            std::string bytes = sample();
            std::fill_n(bytes.begin() + offsetOf(bytes, section), lengthOf(section), fill);
            tryOut(bytes);
        }
    Random random(11);
    for (int round = 0; round < 150; ++round) {
        std::string bytes = sample();
        for (std::uint32_t i = 0, n = 1 + below(random, 20); i < n; ++i) {
            const std::size_t section = below(random, 20);
            if (lengthOf(section) < 4)
                continue;
            const auto places = static_cast<std::uint32_t>(lengthOf(section) - 3);
            const std::uint32_t values[] = {0, 0xFFFFFFFF, 399, 400,
                                            static_cast<std::uint32_t>(random())};
            put(bytes, offsetOf(sample(), section) + below(random, places),
                values[below(random, std::size(values))]);
        }
        tryOut(bytes);
    }
}

/// A heap of zeros ends as many names as it has bytes: far more than the block's.
TEST_F(SnapshotDamageTest, KernelsWriteNothingBeyondTheirBlock) {
    const std::string heap(8192, '\0');
    for (const std::size_t entries : {1, 63, 64, 65, 200}) {
        std::vector<std::uint32_t> offsets(entries + 1);
        for (std::size_t i = 0; i <= entries; ++i) // rising and falling
            offsets[i] = static_cast<std::uint32_t>(i % 2 == 0 ? i : 8192 - i);
        offsets[0] = 0;
        offsets[entries] = 8192;
        const NameBlock names{heap.data(), heap.data() + heap.size(), offsets.data(), entries};
        const Needle needle("ab", sampleBytes(heap));
        constexpr std::uint64_t canary = 0x5AFE5AFE5AFE5AFE;
        for (const auto match : {kernels::matchDense, kernels::matchSparse, kernels::matchListed}) {
            std::vector<std::uint64_t> words((entries + 63) / 64, 0);
            words.resize(words.size() + 200, canary);
            match(names, needle, words.data());
            EXPECT_TRUE(std::all_of(words.begin() + (entries + 63) / 64, words.end(),
                                    [](std::uint64_t word) { return word == canary; }))
                << entries;
        }
    }
}

/// The file is cut behind the program's back: pages beyond its end raise SIGBUS when touched.
TEST_F(SnapshotDamageTest, AFileCutWhileMappedReadsAsZeros) {
    for (std::size_t kept = 0; kept < sample().size(); kept += 16'384) {
        const auto index = loaded(sample());
        ASSERT_NE(index, nullptr);
        EXPECT_FALSE(index->isDamaged());
        ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(kept)), 0);
        useUp(*index);
        if (kept > offsetOf(sample(), 8)) { // orders that were lost have been built anew
            expectRightOrders(*index);
            continue;
        }
        EXPECT_FALSE(index->validate()) << kept;
        EXPECT_TRUE(index->isDamaged()) << kept;
        EXPECT_THROW(index->save(tree.path("b.idx"), someInfo()), IndexError);
        EXPECT_FALSE(std::filesystem::exists(tree.path("b.idx")));
    }
    // What was mapped by a save is guarded as what was loaded.
    Random random(4);
    const Catalog catalog = countedCatalog(randomEntries(random, {3000, Names::fewWords}));
    catalog.index->save(path, someInfo());
    ASSERT_EQ(::truncate(path.c_str(), 0), 0);
    useUp(*catalog.index);
    EXPECT_TRUE(catalog.index->isDamaged());
}

/// A save reads what it writes: it must notice by itself that pages are gone.
TEST_F(SnapshotDamageTest, ACutCatalogueIsNotSaved) {
    for (const std::size_t section : {std::size_t{0}, std::size_t{8}, std::size_t{10}}) {
        const auto index = loaded(sample());
        ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(offsetOf(sample(), section))), 0);
        EXPECT_THROW(index->save(tree.path("b.idx"), someInfo()), IndexError);
        EXPECT_TRUE(index->isDamaged());
        EXPECT_EQ(filesIn(tree.path()), std::vector<std::string>{"a.idx"});
    }
}

TEST_F(SnapshotDamageTest, AnotherBusErrorStillKills) {
    const auto index = loaded(sample()); // has installed the handler
    EXPECT_DEATH(::raise(SIGBUS), "");   // a sanitizer's handler may be behind ours
}

} // namespace
} // namespace quarrydex
