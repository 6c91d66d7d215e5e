/// Catalogues made by hand: a plain list of entries that a test can reason about, and the real
/// catalogue with the same contents.
#pragma once

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/text/Fold.h"

#include <memory>
#include <string>
#include <vector>

namespace quarrydex::testing {

struct PlainEntry {
    std::string name;
    EntryId parent = noParent;
    std::uint8_t flags = 0; ///< as stored; nonAscii is set by the store
    std::uint64_t size = 0;
    std::uint32_t mtime = 0;
    std::uint32_t ctime = 0;
};

inline bool isAscii(std::string_view text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;
    return true;
}

/// The folded form of a name as the store keeps it, filler included.
inline std::string storedFold(const std::string& name) {
    std::string out(name.size(), '\0');
    if (isAscii(name)) {
        for (std::size_t i = 0; i < name.size(); ++i)
            out[i] = name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] + 32) : name[i];
    } else {
        foldName(name.c_str(), name.size(), out.data());
    }
    return out;
}

/// A listing with one record for each entry, in order.
inline fidx_listing listingOf(const std::vector<PlainEntry>& entries) {
    fidx_listing listing;
    for (const PlainEntry& entry : entries) {
        listing.records.push_back({entry.size, static_cast<std::uint32_t>(listing.names.size()),
                                   entry.mtime, entry.ctime, entry.flags});
        listing.names.append(entry.name.c_str(), entry.name.size() + 1);
        listing.folded.append(storedFold(entry.name)).push_back('\0');
    }
    return listing;
}

/// Appends the entries one by one under their parents; ids are their positions.
inline void appendAll(fidx* store, const std::vector<PlainEntry>& entries) {
    const fidx_listing listing = listingOf(entries);
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        const EntryId id = fidx_append(store, entries[i].parent, listing, &i, 1);
        if ((entries[i].flags & EntryFlags::deleted) != 0)
            fidx_set_deleted(store, id);
    }
}

inline std::unique_ptr<VolumeIndex> catalogOf(const std::vector<PlainEntry>& entries) {
    std::uint64_t bytes = 1;
    for (const PlainEntry& entry : entries)
        bytes += entry.name.size() + 1;
    fidx* store = fidx_new(static_cast<std::uint32_t>(entries.size()) + 1, bytes + 1);
    fidx_set_fold(foldName);
    appendAll(store, entries);
    return VolumeIndex::adopting(store, 1, {});
}

} // namespace quarrydex::testing
