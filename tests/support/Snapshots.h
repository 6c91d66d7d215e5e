/// What tests of saved catalogues share: a place for files, catalogues with orders, comparisons.
#pragma once

#include "QuarrydexCore/catalog/CacheFile.h"
#include "QuarrydexCore/catalog/LoadedCatalog.h"

#include "tests/support/RandomCatalog.h"
#include "tests/support/TempTree.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::testing {

inline std::string readBytes(const std::string& path) {
    const auto file = CacheFile::read(path);
    return file ? file->bytes : "(no file)";
}

inline void writeBytes(const std::string& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline SnapshotInfo someInfo() {
    return {.uuid = "a-volume",
            .fseUUID = "a-history",
            .root = "/root1",
            .eventID = 42,
            .savedAt = 1'700'000'000,
            .exclHash = 7,
            .deleted = 0,
            .storeID = 0};
}

/// A catalogue with room for more, whose deleted entries were deleted as the program does it.
inline Catalog countedCatalog(std::vector<PlainEntry> entries) {
    std::vector<EntryId> deleted;
    for (EntryId id = 0; id < entries.size(); ++id) {
        if ((entries[id].flags & EntryFlags::deleted) != 0)
            deleted.push_back(id);
        entries[id].flags &= static_cast<std::uint8_t>(~EntryFlags::deleted);
    }
    Catalog catalog(entries);
    catalog.index->markDeleted(deleted);
    return catalog;
}

/// Names of the files in a folder.
inline std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

/// Everything that can be read of two catalogues is the same.
inline void expectSameEntries(const VolumeIndex& a, const VolumeIndex& b) {
    ASSERT_EQ(a.count(), b.count());
    EXPECT_EQ(a.liveCount(), b.liveCount());
    EXPECT_EQ(a.arrayBytes(), b.arrayBytes());
    EXPECT_EQ(a.directories(a.count()), b.directories(b.count()));
    for (EntryId id = 0; id < a.count(); ++id) {
        ASSERT_EQ(a.path(id), b.path(id)) << id;
        ASSERT_EQ(a.foldedName(id), b.foldedName(id)) << id;
        ASSERT_EQ(a.flags(id), b.flags(id)) << id;
        ASSERT_EQ(a.size(id), b.size(id)) << id;
        ASSERT_EQ(a.mtime(id), b.mtime(id)) << id;
        ASSERT_EQ(a.ctime(id), b.ctime(id)) << id;
        ASSERT_EQ(a.ext(id), b.ext(id)) << id;
    }
}

inline HitSet everything(const VolumeIndex& index) {
    HitSet hits{BitWords(bitWords(index.count())), index.count(), 0};
    for (EntryId id = 0; id < index.count(); ++id)
        if ((index.flags(id) & EntryFlags::root) == 0)
            setBit(hits.bits, id);
    hits.count = countBits(hits.bits);
    return hits;
}

/// Rows in every order and direction are those of plain comparisons; by the kept orders wherever
/// these are usable.
inline void expectRightOrders(const VolumeIndex& index) {
    const Reference reference(index);
    const HitSet hits = everything(index);
    for (SortKey key : allSortKeys)
        for (const bool descending : {false, true}) {
            const std::vector<EntryId> all = reference.order(key, descending);
            for (const std::size_t limit : {std::size_t{7}, all.size() / 2, all.size()}) {
                const std::vector<EntryId> first(all.begin(),
                                                 all.begin() + std::min(limit, all.size()));
                EXPECT_EQ(
                    index.ordered(hits, key,
                                  {.descending = descending, .limit = limit, .directSortLimit = 0}),
                    first)
                    << rawValue(key) << (descending ? " descending, " : ", ") << limit;
            }
        }
}

} // namespace quarrydex::testing
