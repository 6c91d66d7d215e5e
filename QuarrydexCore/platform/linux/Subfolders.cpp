#include "QuarrydexCore/platform/linux/Subfolders.h"

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/platform/linux/LinuxDirReader.h"

#include <cerrno>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { ::closedir(dir); }
};

/// A folder that belongs to the tree.
bool isOwnFolder(int folder, const dirent& entry) {
    const std::string_view name = entry.d_name;
    if (name == "." || name == ".." || (entry.d_type != DT_DIR && entry.d_type != DT_UNKNOWN))
        return false;
    struct statx st;
    if (::statx(folder, entry.d_name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &st) != 0)
        return false;
    return S_ISDIR(st.stx_mode) &&
           (st.stx_attributes & (STATX_ATTR_MOUNT_ROOT | STATX_ATTR_AUTOMOUNT)) == 0;
}

/// For paths longer than the system takes in one call.
int listLongPath(const std::string& path, bool followLink, std::vector<std::string>& out) {
    DirListing listing;
    if (const int error = LinuxDirReader().list(path, {.followLink = followLink}, listing))
        return error;
    for (const DirChild& child : listing.children)
        if (child.type == ObjectType::folder && !child.isMountPoint)
            out.emplace_back(listing.name(child));
    return 0;
}

} // namespace

int listSubfolders(const std::string& path, bool followLink, std::vector<std::string>& out) {
    out.clear();
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
    Fd fd(::open(path.c_str(), flags));
    if (!fd)
        return errno == ENAMETOOLONG ? listLongPath(path, followLink, out) : errno;
    const std::unique_ptr<DIR, DirCloser> dir(::fdopendir(fd.get()));
    if (!dir)
        return errno;
    const int folder = fd.release();
    while (const dirent* entry = ::readdir(dir.get())) // NOLINT(concurrency-mt-unsafe): own
        if (isOwnFolder(folder, *entry))
            out.emplace_back(entry->d_name);
    return 0;
}

} // namespace quarrydex
