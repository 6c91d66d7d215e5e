#include "QuarrydexCore/platform/linux/LinuxDirReader.h"

#include "QuarrydexCore/base/Fd.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::size_t scratchBytes = 262'144;
constexpr int statusFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
constexpr unsigned statusMask = STATX_BASIC_STATS | STATX_BTIME;

/// A path as the system calls take it: `rest` relative to `base`, or to nothing when that is none.
struct ShortPath {
    Fd base;
    const char* rest = nullptr; ///< into the path given to shorten(), or static

    [[nodiscard]] int at() const { return base ? base.get() : AT_FDCWD; }
};

/// Opens a folder, again when a signal came in between. Returns 0 or an errno.
int openFolder(int at, const char* path, int flags, Fd& out) {
    do {
        out = Fd(::openat(at, path, flags | O_DIRECTORY | O_CLOEXEC));
    } while (!out && errno == EINTR);
    return out ? 0 : errno;
}

/// Walks down a path of PATH_MAX bytes or more until the rest of it is short enough.
int shorten(const std::string& path, ShortPath& out) {
    std::size_t start = 0;
    while (path.size() - start >= PATH_MAX) {
        const std::size_t slash = path.rfind('/', start + PATH_MAX - 1);
        if (slash == std::string::npos || slash <= start)
            return ENAMETOOLONG;
        Fd next;
        const std::string piece = path.substr(start, slash - start);
        if (const int error = openFolder(out.at(), piece.c_str(), O_PATH, next))
            return error;
        out.base = std::move(next);
        start = path.find_first_not_of('/', slash);
        if (start == std::string::npos) {
            out.rest = ".";
            return 0;
        }
    }
    out.rest = path.c_str() + start;
    return 0;
}

int openForReading(const std::string& path, int flags, Fd& out) {
    ShortPath place;
    if (const int error = shorten(path, place))
        return error;
    return openFolder(place.at(), place.rest, O_RDONLY | O_NONBLOCK | flags, out);
}

ObjectType typeOfMode(unsigned mode) {
    switch (mode & S_IFMT) {
    case S_IFREG:
        return ObjectType::file;
    case S_IFDIR:
        return ObjectType::folder;
    case S_IFLNK:
        return ObjectType::symlink;
    default:
        return ObjectType::other;
    }
}

ObjectType typeOfEntry(unsigned char type) {
    switch (type) {
    case DT_REG:
        return ObjectType::file;
    case DT_DIR:
        return ObjectType::folder;
    case DT_LNK:
        return ObjectType::symlink;
    default:
        return ObjectType::other;
    }
}

std::uint64_t deviceOf(const struct statx& st) {
    return makedev(st.stx_dev_major, st.stx_dev_minor);
}

/// A bind mount shares its device with the tree and a subvolume of one mount does not, so the
/// attribute is asked first. `device` 0 is "not known".
bool isMountPoint(const struct statx& st, std::uint64_t device) {
    if ((st.stx_attributes & STATX_ATTR_AUTOMOUNT) != 0)
        return true;
    if ((st.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0)
        return (st.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    return device != 0 && deviceOf(st) != device;
}

bool isDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

/// Fills what statx tells of a child; without an answer only the type that the folder gave is kept.
/// Returns false for a child that has vanished.
bool examine(int folder, const dirent64& entry, std::uint64_t device, DirChild& child) {
    struct statx st;
    if (::statx(folder, entry.d_name, statusFlags, statusMask, &st) != 0) {
        child.type = typeOfEntry(entry.d_type);
        return errno != ENOENT;
    }
    child.type = typeOfMode(st.stx_mode);
    child.size = child.type == ObjectType::file ? st.stx_size : 0;
    child.mtime = st.stx_mtime.tv_sec;
    child.birthTime = (st.stx_mask & STATX_BTIME) != 0 ? st.stx_btime.tv_sec : 0;
    child.isMountPoint = child.type == ObjectType::folder && isMountPoint(st, device);
    return true;
}

void addChild(int folder, const dirent64& entry, std::uint64_t device, DirListing& out) {
    if (isDotOrDotDot(entry.d_name))
        return;
    DirChild child;
    if (!examine(folder, entry, device, child))
        return;
    child.nameOffset = static_cast<std::uint32_t>(out.names.size());
    child.nameLength = static_cast<std::uint16_t>(std::strlen(entry.d_name));
    out.names.append(entry.d_name, child.nameLength + std::size_t{1});
    out.children.push_back(child);
}

} // namespace

int LinuxDirReader::list(const std::string& path, ListOptions options, DirListing& out) const {
    out.clear();
    Fd folder;
    if (const int error = openForReading(path, options.followLink ? 0 : O_NOFOLLOW, folder))
        return error;
    if (!out.scratch)
        out.scratch = std::make_unique_for_overwrite<std::byte[]>(scratchBytes);
    for (;;) {
        const ssize_t bytes = ::getdents64(folder.get(), out.scratch.get(), scratchBytes);
        if (bytes == 0)
            return 0;
        if (bytes < 0 && errno != EINTR)
            return errno;
        for (ssize_t at = 0; at < bytes;) {
            const auto& entry = *reinterpret_cast<const dirent64*>(out.scratch.get() + at);
            addChild(folder.get(), entry, options.device, out);
            at += entry.d_reclen;
        }
    }
}

int LinuxDirReader::status(const std::string& path, PathStatus& out) const {
    ShortPath place;
    if (const int error = shorten(path, place))
        return error;
    struct statx st;
    if (::statx(place.at(), place.rest, statusFlags, statusMask, &st) != 0)
        return errno;
    out.type = typeOfMode(st.stx_mode);
    out.size = out.type == ObjectType::file ? st.stx_size : 0;
    out.mtime = st.stx_mtime.tv_sec;
    out.birthTime = (st.stx_mask & STATX_BTIME) != 0 ? st.stx_btime.tv_sec : 0;
    // What is written sets both times alike; a rename sets the time of the inode alone.
    const auto inNs = [](const statx_timestamp& time) {
        return std::pair(time.tv_sec, time.tv_nsec);
    };
    out.moveTime = inNs(st.stx_ctime) > inNs(st.stx_mtime) ? st.stx_ctime.tv_sec : 0;
    out.device = deviceOf(st);
    out.isMountPoint = out.type == ObjectType::folder && isMountPoint(st, 0);
    return 0;
}

int LinuxDirReader::probeFolder(const std::string& path, std::uint64_t& device) const {
    Fd folder;
    if (const int error = openForReading(path, 0, folder))
        return error;
    struct stat st;
    if (::fstat(folder.get(), &st) != 0)
        return errno;
    device = st.st_dev;
    return 0;
}

} // namespace quarrydex
