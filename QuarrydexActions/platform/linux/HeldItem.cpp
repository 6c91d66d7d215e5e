#include "QuarrydexActions/platform/linux/HeldItem.h"

#include "QuarrydexCore/base/Files.h"

#include <array>
#include <cerrno>
#include <climits>

#include <fcntl.h>

namespace quarrydex {

int HeldItem::open(const Item& item) {
    name_ = item.path.substr(item.path.rfind('/') + 1);
    folder_ = Fd(::open(folderOf(item.path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (folder_)
        object_ = Fd(::openat(folder_.get(), name_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!object_)
        return errno == ENOENT || errno == ENOTDIR ? ESTALE : errno;
    if (::fstat(object_.get(), &status_) != 0)
        return errno;
    const bool isSame = status_.st_dev == item.device && status_.st_ino == item.inode &&
                        (status_.st_mode & S_IFMT) == item.type;
    return isSame ? 0 : ESTALE;
}

bool HeldItem::isInPlace() const {
    struct stat now;
    return ::fstatat(folder_.get(), name(), &now, AT_SYMLINK_NOFOLLOW) == 0 &&
           now.st_dev == status_.st_dev && now.st_ino == status_.st_ino;
}

std::string HeldItem::currentPath() const {
    std::array<char, PATH_MAX> path;
    const std::string link = "/proc/self/fd/" + std::to_string(object_.get());
    const ssize_t size = ::readlink(link.c_str(), path.data(), path.size());
    struct stat there;
    if (size <= 0 || static_cast<std::size_t>(size) == path.size())
        return {};
    std::string found(path.data(), static_cast<std::size_t>(size));
    const bool isThere = ::lstat(found.c_str(), &there) == 0 && there.st_dev == status_.st_dev &&
                         there.st_ino == status_.st_ino;
    return isThere ? found : std::string();
}

} // namespace quarrydex
