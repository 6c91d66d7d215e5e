/// What a store holds, by path, so that two stores filled in different orders can be compared.
#pragma once

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/store/fidx.h"

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>

namespace quarrydex {

struct DumpedEntry {
    std::uint8_t flags{};
    std::uint64_t size{};
    std::uint32_t mtime{};
    std::uint32_t ctime{};
    std::string ext;

    bool operator==(const DumpedEntry&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const DumpedEntry& e) {
    return out << "{flags " << int{e.flags} << ", size " << e.size << ", mtime " << e.mtime
               << ", ctime " << e.ctime << ", ext \"" << e.ext << "\"}";
}

using StoreDump = std::map<std::string, DumpedEntry>;

/// Raw names from the root down, joined with "/".
inline std::string dumpedPath(const fidx& store, EntryId id) {
    const std::string name = store.names + store.name_off[id];
    return store.parent[id] == noParent ? name : dumpedPath(store, store.parent[id]) + "/" + name;
}

/// Every entry that is not deleted. A path that occurs twice is kept as "path (again)", so that a
/// duplicate never compares equal.
inline StoreDump dumpStore(const fidx& store) {
    StoreDump dump;
    for (EntryId id = 0; id < fidx_count(&store); ++id) {
        if ((store.flags[id] & EntryFlags::deleted) != 0)
            continue;
        std::string path = dumpedPath(store, id);
        while (dump.contains(path))
            path += " (again)";
        dump[path] = {store.flags[id], store.size[id], store.mtime[id], store.ctime[id],
                      store.ext_names[store.ext[id]]};
    }
    return dump;
}

struct StoreCloser {
    void operator()(fidx* store) const { fidx_free(store); }
};

using StoreHandle = std::unique_ptr<fidx, StoreCloser>;

inline StoreHandle newStore(std::uint32_t maxEntries = 1U << 20,
                            std::uint64_t maxNameBytes = 1U << 26) {
    return StoreHandle(fidx_new(maxEntries, maxNameBytes));
}

/// A listing made by hand.
inline void addRecord(fidx_listing& listing, const std::string& name, fidx_record record = {}) {
    record.name = static_cast<std::uint32_t>(listing.names.size());
    listing.records.push_back(record);
    listing.names.append(name.c_str(), name.size() + 1);
}

/// Appends every record of the listing.
inline EntryId appendAll(fidx& store, EntryId parent, const fidx_listing& listing) {
    std::vector<std::uint32_t> indices;
    for (std::uint32_t i = 0; i < listing.records.size(); ++i)
        indices.push_back(i);
    return fidx_append(&store, parent, listing, indices.data(), indices.size());
}

} // namespace quarrydex
