/// Random catalogues that are hard to sort, and the obvious way to put their entries in order.
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "tests/support/PlainCatalog.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace quarrydex::testing {

using Random = std::mt19937;

inline std::uint32_t below(Random& random, std::uint32_t bound) {
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random);
}

/// What a random catalogue's names look like.
enum class Names { fewWords, anyBytes, longPrefixes };

inline std::string randomName(Random& random, Names kind) {
    switch (kind) {
    case Names::fewWords: {
        static const char* const words[] = {"a",          "A",       "b",        "readme",
                                            "README.md",  "café",    "cafe\x01", "cafe",
                                            "index.html", "indexes", "index.htm"};
        return words[below(random, std::size(words))];
    }
    case Names::anyBytes: {
        std::string name;
        for (std::uint32_t i = 0, n = 1 + below(random, 4); i < n; ++i) {
            const auto byte = static_cast<char>(1 + below(random, 255));
            name += byte == '/' ? '\x01' : byte;
        }
        return name;
    }
    case Names::longPrefixes: {
        static const std::string prefix = "a photograph of the very same day ";
        return prefix.substr(0, below(random, 35)) + std::to_string(below(random, 50));
    }
    }
    return "";
}

inline std::uint64_t randomSize(Random& random) {
    static const std::uint64_t sizes[] = {0,          1,          4096,       0xFFFFFFFE,
                                          0xFFFFFFFF, 1ULL << 32, 1ULL << 40, ~0ULL};
    return below(random, 3) > 0 ? sizes[below(random, std::size(sizes))] : random();
}

struct Shape {
    std::uint32_t entries;
    Names names;
    std::uint32_t roots = 1;
    bool isDeep = false; ///< the newest folder gets most of the children
};

inline std::vector<PlainEntry> randomEntries(Random& random, const Shape& shape) {
    std::vector<PlainEntry> entries;
    for (std::uint32_t id = 0; id < shape.entries; ++id) {
        PlainEntry entry;
        if (id < shape.roots) {
            entry = {"/root" + std::to_string(shape.roots - id), noParent,
                     EntryFlags::dir | EntryFlags::root};
        } else {
            const std::uint32_t reach = shape.isDeep ? std::min(id, 3U) : id;
            entry = {randomName(random, shape.names),
                     id - 1 - below(random, reach),
                     static_cast<std::uint8_t>(below(random, 20) == 0 ? EntryFlags::deleted : 0),
                     randomSize(random),
                     below(random, 2) == 0 ? 7 : static_cast<std::uint32_t>(random()),
                     1'500'000'000 + below(random, 40)};
        }
        entries.push_back(entry);
    }
    return entries;
}

struct Catalog {
    explicit Catalog(const std::vector<PlainEntry>& entries)
        : store(fidx_new(1 << 20, 1 << 25)), index(VolumeIndex::adopting(store, 1, {})) {
        appendAll(store, entries);
    }

    void buildOrders() const {
        for (SortKey key : allSortKeys)
            index->rebuildPermutation(key);
    }

    void change(SortKey key, EntryId id, std::uint64_t value) const {
        const auto seconds = static_cast<std::uint32_t>(value);
        fidx_set_meta(store, id, key == SortKey::size ? value : index->size(id),
                      key == SortKey::date ? seconds : index->mtime(id),
                      key == SortKey::created ? seconds : index->ctime(id));
        index->markMoved(key, std::span(&id, 1));
    }

    fidx* store; ///< owned by the index
    std::unique_ptr<VolumeIndex> index;
};

/// All ids in key order by plain comparisons; equal keys by ascending id, also when descending.
class Reference {
  public:
    explicit Reference(const VolumeIndex& index) : index_(index), chains_(index.count()) {
        for (EntryId id = 0; id < index.count(); ++id) {
            if (const auto parent = index.parent(id))
                chains_[id] = chains_[*parent];
            chains_[id].push_back(id);
        }
    }

    [[nodiscard]] int compare(EntryId a, EntryId b, SortKey key) const {
        const auto threeWay = [](auto x, auto y) { return x < y ? -1 : x > y ? 1 : 0; };
        switch (key) {
        case SortKey::name:
            return names(a, b);
        case SortKey::path:
            return paths(a, b);
        case SortKey::size:
            return threeWay(index_.size(a), index_.size(b));
        case SortKey::date:
            return threeWay(index_.mtime(a), index_.mtime(b));
        case SortKey::created:
            return threeWay(index_.ctime(a), index_.ctime(b));
        }
        return 0;
    }

    [[nodiscard]] std::vector<EntryId> order(SortKey key, bool descending) const {
        std::vector<EntryId> ids;
        for (EntryId id = 0; id < index_.count(); ++id)
            if ((index_.flags(id) & EntryFlags::root) == 0)
                ids.push_back(id);
        std::stable_sort(ids.begin(), ids.end(), [&](EntryId a, EntryId b) {
            return descending ? compare(b, a, key) < 0 : compare(a, b, key) < 0;
        });
        return ids;
    }

  private:
    [[nodiscard]] int names(EntryId a, EntryId b) const {
        const fidx& base = index_.base();
        return std::strcmp(base.folded + base.name_off[a], base.folded + base.name_off[b]);
    }

    [[nodiscard]] int paths(EntryId a, EntryId b) const {
        const std::vector<EntryId>& x = chains_[a];
        const std::vector<EntryId>& y = chains_[b];
        for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i) {
            if (x[i] == y[i])
                continue;
            const int order = names(x[i], y[i]);
            return order != 0 ? order : x[i] < y[i] ? -1 : 1;
        }
        return x.size() < y.size() ? -1 : x.size() > y.size() ? 1 : 0;
    }

    const VolumeIndex& index_;
    std::vector<std::vector<EntryId>> chains_;
};

} // namespace quarrydex::testing
