#include "QuarrydexCore/store/fidx.h"

#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/base/EntryFlags.h"

#include "tests/support/StoreDump.h"

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

std::string nameOf(const fidx& store, EntryId id) {
    return {store.names + store.name_off[id], store.name_off[id + 1] - store.name_off[id] - 1};
}

std::string foldedOf(const fidx& store, EntryId id) {
    return {store.folded + store.name_off[id], store.name_off[id + 1] - store.name_off[id] - 1};
}

EntryId appendNames(fidx& store, const std::vector<std::string>& names, fidx_record record = {}) {
    fidx_listing listing;
    for (const std::string& name : names)
        addRecord(listing, name, record);
    return appendAll(store, noParent, listing);
}

/// Installs a folding routine while it lives.
struct Folding {
    explicit Folding(fidx_fold routine) { fidx_set_fold(routine); }

    ~Folding() { fidx_set_fold(nullptr); }
};

TEST(FidxTest, ChosenRecordsBecomeEntriesInTheGivenOrder) {
    const StoreHandle store = newStore();
    fidx_listing listing;
    addRecord(listing, "zero", {.size = 10, .name = 0, .mtime = 20, .ctime = 30, .flags = 0});
    addRecord(listing, "One", {.size = 11, .name = 0, .mtime = 21, .ctime = 31, .flags = 0x01});
    addRecord(listing, "two.Txt", {.size = 12, .name = 0, .mtime = 22, .ctime = 32, .flags = 0x06});
    const std::uint32_t chosen[] = {2, 0};
    EXPECT_EQ(appendNames(*store, {"/root"}, {.flags = 0x11}), 0U);
    ASSERT_EQ(fidx_append(store.get(), 0, listing, chosen, 2), 1U);
    EXPECT_EQ(fidx_append(store.get(), 0, listing, chosen, 0), noParent);

    ASSERT_EQ(fidx_count(store.get()), 3U);
    EXPECT_EQ(nameOf(*store, 1), "two.Txt");
    EXPECT_EQ(foldedOf(*store, 1), "two.txt");
    EXPECT_EQ(nameOf(*store, 2), "zero");
    EXPECT_EQ(store->parent[0], noParent);
    EXPECT_EQ(store->parent[1], 0U);
    EXPECT_EQ(dumpStore(*store)["/root/two.Txt"], (DumpedEntry{0x06, 12, 22, 32, "txt"}));
    EXPECT_EQ(fidx_name_bytes(store.get()), std::strlen("/root two.Txt zero "));
    EXPECT_FALSE(fidx_overflowed(store.get()));
}

TEST(FidxTest, FlagsOfAnAppendedEntryAreCleaned) {
    const struct {
        const char* name;
        std::uint8_t given;
        std::uint8_t stored;
    } cases[] = {
        {"plain", 0xFF, 0x1F},       // neither deleted nor on another device nor beyond ASCII
        {"caf\xC3\xA9", 0x00, 0x20}, // 0x20 comes from the name
        {"\x7F", 0x20, 0x00},
        {"\x80", 0x80, 0x20},
    };

    const StoreHandle store = newStore();
    for (const auto& c : cases) {
        const EntryId id = appendNames(*store, {c.name}, {.flags = c.given});
        EXPECT_EQ(store->flags[id], c.stored) << c.name;
    }
}

TEST(FidxTest, BatchesAreRefusedWholeAtTheStrictLimits) {
    // Entries in use + batch must stay below 10; heap + batch + 1 must not exceed 40.
    const struct {
        std::vector<std::string> first, second;
        bool fits;
    } cases[] = {
        {{"a", "b", "c", "d", "e"}, {"f", "g", "h", "i"}, true},
        {{"a", "b", "c", "d", "e"}, {"f", "g", "h", "i", "j"}, false},
        {{std::string(18, 'a')}, {std::string(19, 'b')}, true},
        {{std::string(18, 'a')}, {std::string(20, 'b')}, false},
        {{std::string(18, 'a')}, {"b", std::string(18, 'b')}, false},
    };

    for (const auto& c : cases) {
        const StoreHandle store = newStore(10, 40);
        ASSERT_EQ(appendNames(*store, c.first), 0U);
        const StoreDump before = dumpStore(*store);
        const std::uint64_t bytes = fidx_name_bytes(store.get());
        const EntryId id = appendNames(*store, c.second);
        EXPECT_EQ(id, c.fits ? c.first.size() : noParent);
        EXPECT_EQ(fidx_overflowed(store.get()), !c.fits);
        EXPECT_EQ(fidx_count(store.get()), c.first.size() + (c.fits ? c.second.size() : 0));
        if (!c.fits) {
            EXPECT_EQ(dumpStore(*store), before);
            EXPECT_EQ(fidx_name_bytes(store.get()), bytes);
        }
    }
}

TEST(FidxTest, ExtensionIsTheTextAfterTheLastDot) {
    const struct {
        std::string name;
        const char* ext;
    } cases[] = {
        {"archive.tar.gz", "gz"},
        {"x.ABC", "abc"},
        {"y.abc", "abc"},
        {".profile", ""},
        {".profile.bak", "bak"},
        {"a.", ""},
        {"none", ""},
        {".", ""},
        {"..", ""},
        {"...a", "a"},
        {"a.123456789012345", "123456789012345"},
        {"a.1234567890123456", ""},
        {"a.mp3\x01\x01", "mp3"},
        {"a.\x01", ""},
        {"a.m\x01p", "m\x01p"},
        {"new\nline.t\nt", "t\nt"},
        {"Z.\xFF\xFE", "\xFF\xFE"},
        {std::string(251, 'n') + ".mp3", "mp3"},
    };

    const StoreHandle store = newStore();
    for (const auto& c : cases) {
        const EntryId id = appendNames(*store, {c.name});
        EXPECT_STREQ(store->ext_names[store->ext[id]], c.ext) << c.name;
        EXPECT_EQ(store->ext[id] == 0, *c.ext == 0) << c.name;
    }
    EXPECT_EQ(store->ext[1], store->ext[2]);
    const EntryId folder = appendNames(*store, {"folder.mp3"}, {.flags = EntryFlags::dir});
    EXPECT_EQ(store->ext[folder], 0);
}

TEST(FidxTest, ExtensionTableFillsUpAndKeepsServingWhatItKnows) {
    const StoreHandle store = newStore();
    fidx_listing listing;
    for (int i = 1; i <= 65'540; ++i)
        addRecord(listing, "f.e" + std::to_string(i));
    ASSERT_EQ(appendAll(*store, noParent, listing), 0U);
    std::set<std::string> texts;
    for (EntryId id = 0; id < 65'534; ++id) {
        ASSERT_EQ(store->ext[id], id + 1);
        texts.insert(store->ext_names[id + 1]);
    }
    EXPECT_EQ(texts.size(), 65'534U);
    for (EntryId id = 65'534; id < 65'540; ++id)
        EXPECT_EQ(store->ext[id], 0);
    EXPECT_EQ(store->ext_count.load(), fidx_max_ext);

    const EntryId again = appendNames(*store, {"g.E1", "g.e65534", "g.e65535"});
    EXPECT_EQ(store->ext[again], 1);
    EXPECT_EQ(store->ext[again + 1], 65'534);
    EXPECT_EQ(store->ext[again + 2], 0);
    EXPECT_FALSE(fidx_overflowed(store.get()));
}

TEST(FidxTest, ExtensionsThatMeetInTheHashTableStayApart) {
    constexpr std::uint32_t slots = 131'072;
    std::string longer; // begins like "ab" and falls into its slot
    for (int i = 0; longer.empty(); ++i)
        if (const std::string ext = "ab" + std::to_string(i);
            fnv1a32(ext) % slots == fnv1a32("ab") % slots)
            longer = ext;
    ASSERT_LT(longer.size(), fidx_ext_slot);
    const StoreHandle store = newStore();
    appendNames(*store, {"x." + longer, "x.ab", "y.ab", "y." + longer});
    EXPECT_STREQ(store->ext_names[store->ext[0]], longer.c_str());
    EXPECT_STREQ(store->ext_names[store->ext[1]], "ab");
    EXPECT_EQ(store->ext[2], store->ext[1]);
    EXPECT_EQ(store->ext[3], store->ext[0]);
}

TEST(FidxTest, OnlyNamesBeyondAsciiReachTheFoldingRoutine) {
    const Folding folding([](const char* name, std::size_t n, char* out) {
        EXPECT_EQ(std::strlen(name), n);
        std::memset(out, 0x01, n);
        std::memcpy(out, "f.x", 3);
    });
    const StoreHandle store = newStore();
    appendNames(*store, {"PLAIN[@`{.Z", "caf\xC3\xA9.MP3", "Next"});
    EXPECT_EQ(foldedOf(*store, 0), "plain[@`{.z");
    EXPECT_EQ(foldedOf(*store, 1), "f.x\x01\x01\x01\x01\x01\x01");
    EXPECT_EQ(foldedOf(*store, 2), "next");
    EXPECT_STREQ(store->ext_names[store->ext[1]], "x"); // from the folded name, without filler
}

/// Names tell their id, so a reader can see whether what it finds belongs together.
TEST(FidxTest, ReadersSeeOnlyWholeEntriesWhileAnotherThreadAppends) {
    const StoreHandle store = newStore();
    constexpr std::uint32_t batches = 900;
    constexpr std::uint32_t perBatch = 70; // in all fewer than there are extensions
    std::atomic<bool> done = false;
    std::atomic<std::uint32_t> faults = 0;
    const auto read = [&] {
        for (bool last = false; !last;) {
            last = done.load();
            const std::uint32_t n = fidx_count(store.get());
            faults += n % perBatch == 0 ? 0U : 1U;
            for (EntryId id = n > 40 ? n - 40 : 0; id < n; ++id) {
                const std::string expected = "N" + std::to_string(id) + ".x" + std::to_string(id);
                const std::uint64_t size = std::atomic_ref(store->size[id]).load();
                const bool isWhole = nameOf(*store, id) == expected && size == id &&
                                     ("N" + std::to_string(id) + "." +
                                      store->ext_names[store->ext[id]]) == expected &&
                                     store->parent[id] == (id < perBatch ? noParent : 0);
                if (!isWhole)
                    ++faults;
            }
        }
    };
    std::thread readers[] = {std::thread(read), std::thread(read)};
    for (std::uint32_t b = 0; b < batches; ++b) {
        fidx_listing listing;
        for (std::uint32_t i = 0; i < perBatch; ++i) {
            const std::uint32_t id = b * perBatch + i;
            addRecord(listing, "N" + std::to_string(id) + ".x" + std::to_string(id), {.size = id});
        }
        ASSERT_EQ(appendAll(*store, b == 0 ? noParent : 0, listing), b * perBatch);
        fidx_set_deleted(store.get(), b);
    }
    done = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(faults, 0U);
}

} // namespace
} // namespace quarrydex
