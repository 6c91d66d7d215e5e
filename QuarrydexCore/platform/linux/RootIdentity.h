/// Tells whether a path still names the folder that it named before: the mount it lies on, the
/// inode and its birth. Threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quarrydex {

struct RootIdentity {
    std::uint64_t device{};
    std::uint64_t inode{};
    std::int64_t birthTimeNs{};
    std::uint64_t mount{}; ///< 0 where the system does not tell

    bool operator==(const RootIdentity&) const = default;
};

/// Of the folder at the path, links followed; absent when there is none.
[[nodiscard]] std::optional<RootIdentity> rootIdentity(const std::string& path);

} // namespace quarrydex
