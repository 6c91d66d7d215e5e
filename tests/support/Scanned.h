/// A store filled by one scan, and what it recorded.
#pragma once

#include "QuarrydexCore/platform/DirReader.h"
#include "QuarrydexCore/store/fidx.h"

#include "tests/support/StoreDump.h"

#include <string>
#include <vector>

namespace quarrydex {

inline constexpr DirChild aFile{.type = ObjectType::file};
inline constexpr DirChild aFolder{.type = ObjectType::folder};

struct Scanned {
    StoreHandle store = newStore();
    fidx_stats stats{};
    int result = 0;

    [[nodiscard]] StoreDump dump() const { return dumpStore(*store); }
};

inline Scanned scan(const std::string& root, int threads = 4) {
    Scanned out;
    out.result = fidx_scan(out.store.get(), root.c_str(), threads, &out.stats);
    return out;
}

/// Names of everything recorded, without the root's path.
inline std::vector<std::string> namesBelow(const Scanned& scanned, const std::string& root) {
    std::vector<std::string> names;
    for (const auto& [path, entry] : scanned.dump())
        if (path != root)
            names.push_back(path.substr(root.size() + 1));
    return names;
}

} // namespace quarrydex
