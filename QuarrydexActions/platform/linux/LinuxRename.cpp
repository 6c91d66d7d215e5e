#include "QuarrydexActions/platform/linux/LinuxRename.h"

#include "QuarrydexActions/platform/linux/HeldItem.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quarrydex {

namespace {

int errorOf(long result) {
    return result == 0 ? 0 : errno;
}

/// By the number, since a libc may be older than its kernel.
int renameToFreeName(const HeldItem& item, const char* name) {
    return errorOf(::syscall(SYS_renameat2, item.folder(), item.name(), item.folder(), name,
                             RENAME_NOREPLACE));
}

int renameReplacing(const HeldItem& item, const char* name) {
    return errorOf(::renameat(item.folder(), item.name(), item.folder(), name));
}

/// True when the folder lists one spelling only: then the new name is found because names are found
/// in any case, not because another object has it. Inode numbers do not tell: some file systems
/// give one object a number for every spelling that was asked for.
bool isOnlySpelling(const HeldItem& item, const RenameOptions& options) {
    const int fd = ::openat(item.folder(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fd < 0 ? nullptr : ::fdopendir(fd),
                                                      &::closedir);
    if (!listing)
        return false;
    int spellings = 0;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) // NOLINT(concurrency-mt-unsafe): own
        spellings += options.isSpelling(entry->d_name) ? 1 : 0;
    return errno == 0 && spellings == 1;
}

/// In such a folder who may add a name may not be allowed to take it away again.
bool isSticky(int folder) {
    struct stat st;
    return ::fstat(folder, &st) != 0 || (st.st_mode & S_ISVTX) != 0;
}

/// A second name first, then the old one goes. EEXIST when the name is taken; other errors where
/// that cannot be done.
int renameByLink(const HeldItem& item, const char* name) {
    if (item.isFolder() || isSticky(item.folder()))
        return EPERM;
    if (::linkat(item.folder(), item.name(), item.folder(), name, 0) != 0)
        return errno;
    int error = item.isInPlace() ? errorOf(::unlinkat(item.folder(), item.name(), 0)) : ESTALE;
    if (error != 0)
        ::unlinkat(item.folder(), name, 0);
    return error;
}

/// An empty placeholder takes the name, which only one process can do, and is then replaced. A
/// folder that has got something in it is not replaced.
int renameOverPlaceholder(const HeldItem& item, const char* name) {
    constexpr int exclusive = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    if (item.isFolder()) {
        if (::mkdirat(item.folder(), name, 0700) != 0)
            return errno;
    } else if (const Fd placeholder(::openat(item.folder(), name, exclusive, 0600)); !placeholder) {
        return errno;
    }
    const int error = item.isInPlace() ? renameReplacing(item, name) : ESTALE;
    if (error != 0)
        ::unlinkat(item.folder(), name, item.isFolder() ? AT_REMOVEDIR : 0);
    return error;
}

bool isUnknownFlag(int error) {
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

} // namespace

int LinuxRename::perform(const Item& item,
                         const std::string& name,
                         const RenameOptions& options) const {
    HeldItem held;
    if (const int error = held.open(item))
        return error;
    int error = renameToFreeName(held, name.c_str());
    if (error == EEXIST && options.isSpelling && isOnlySpelling(held, options))
        return held.isInPlace() ? renameReplacing(held, name.c_str()) : ESTALE;
    if (!isUnknownFlag(error))
        return error;
    error = renameByLink(held, name.c_str());
    return error == 0 || error == EEXIST || error == ESTALE
               ? error
               : renameOverPlaceholder(held, name.c_str());
}

} // namespace quarrydex
