#include "QuarrydexApp/metadata/helper/ForeignFile.h"

#include "QuarrydexCore/base/Fd.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

Fd openQuietly(const char* path) {
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
#ifdef O_NOATIME
    // Only the owner may leave the time alone.
    Fd fd(::open(path, flags | O_NOATIME));
    if (fd || errno != EPERM)
        return fd;
#endif
    return Fd(::open(path, flags));
}

bool isRegular(int fd) {
    struct stat st;
    return ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

} // namespace

ForeignFile::ForeignFile(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0)
        return;
    atime_ = st.st_atime;
    if (!S_ISREG(st.st_mode))
        return;
    Fd fd = openQuietly(path.c_str());
    // Another one may stand there by now.
    if (fd && isRegular(fd.get()) &&
        file_.open(fd.get(), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        static_cast<void>(fd.release());
}

std::string ForeignFile::head(std::size_t most) const {
    std::string bytes(most, '\0');
    std::size_t got = 0;
    while (isReadable() && got < most) {
        const ssize_t n =
            ::pread(file_.handle(), bytes.data() + got, most - got, static_cast<off_t>(got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    bytes.resize(got);
    return bytes;
}

} // namespace quarrydex
