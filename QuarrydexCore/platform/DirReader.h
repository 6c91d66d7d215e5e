/// The door to the file system for scans: one call reads one folder with everything the catalogue
/// keeps of each child, so that the cost of the seam is paid once a folder, never once an entry.
///
/// Threads: an implementation has no mutable state; any number of threads may call it at once, each
/// with its own DirListing. Errors: errno values as results; nothing throws, nothing is logged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

enum class ObjectType : std::uint8_t { file, folder, symlink, other };

/// One child of a folder, as the file system shows it. Links are not followed.
struct DirChild {
    std::uint64_t size{};       ///< data length in bytes; 0 for anything but a regular file
    std::int64_t mtime{};       ///< seconds since 1970-01-01 UTC, may be negative
    std::int64_t birthTime{};   ///< the same; 0 where the file system keeps none
    std::uint32_t nameOffset{}; ///< of the raw name in DirListing::names
    std::uint16_t nameLength{}; ///< bytes, without the NUL that follows the name
    ObjectType type{};
    bool isMountPoint{}; ///< a folder on which another file system or bind mount begins, or an
                         ///< automount trigger: recorded, never entered
    bool isHidden{};     ///< the object itself carries a hidden flag (its name is not considered)
};

/// One folder's children in the order in which the system returned them, without "." and "..".
/// Reuse one object for many folders: the buffers stay allocated.
struct DirListing {
    std::vector<DirChild> children;
    std::string names;                    ///< every name followed by a NUL
    std::unique_ptr<std::byte[]> scratch; ///< the reader's own buffer, kept between folders

    [[nodiscard]] std::string_view name(const DirChild& child) const {
        return {names.data() + child.nameOffset, child.nameLength};
    }

    void clear() {
        children.clear();
        names.clear();
    }
};

/// What is known of one path without following a link at its end.
struct PathStatus {
    std::uint64_t size{};
    std::int64_t mtime{};
    std::int64_t birthTime{};
    /// When it was renamed, moved or given other rights, if nothing was written to it afterwards
    /// (to a folder: no name in it changed); else 0.
    std::int64_t moveTime{};
    std::uint64_t device{}; ///< number of the device it lies on
    ObjectType type{};
    bool isMountPoint{};
};

class DirReader {
  public:
    struct ListOptions {
        std::uint64_t device = 0; ///< of the scanned tree, for systems that cannot tell a mount
                                  ///< point otherwise
        bool followLink = false;  ///< the path itself may be a link to a folder
    };

    virtual ~DirReader() = default;

    /// Reads the folder. A child that vanishes meanwhile is left out; one whose attributes are
    /// refused is listed with its name and type and zeros.
    /// Returns 0 or the errno of opening or reading; what was read before a failure stays in `out`.
    [[nodiscard]] virtual int
    list(const std::string& path, ListOptions options, DirListing& out) const = 0;

    /// Examines one path, as lstat does. Returns 0 or an errno.
    [[nodiscard]] virtual int status(const std::string& path, PathStatus& out) const = 0;

    /// Tries to open the path as a folder, following links, and closes it. Returns 0 or an errno.
    [[nodiscard]] virtual int probeFolder(const std::string& path, std::uint64_t& device) const = 0;
};

} // namespace quarrydex
