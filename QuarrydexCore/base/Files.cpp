#include "QuarrydexCore/base/Files.h"

#include "QuarrydexCore/base/Fd.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

int readFile(const std::string& path, std::size_t limit, std::string& out) {
    const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd)
        return errno;
    std::string bytes;
    for (;;) {
        constexpr std::size_t piece = 65536;
        const std::size_t filled = bytes.size();
        bytes.resize(filled + piece);
        const ssize_t n = ::read(fd.get(), bytes.data() + filled, piece);
        const int error = n < 0 ? errno : 0;
        bytes.resize(filled + static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
        if (error != 0 && error != EINTR)
            return error;
        if (bytes.size() > limit)
            return EFBIG;
        if (n == 0)
            break;
    }
    out = std::move(bytes);
    return 0;
}

int makeFolders(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) == 0)
        return 0;
    if (errno == ENOENT && folderOf(path) != path) {
        if (const int error = makeFolders(folderOf(path)))
            return error;
        if (::mkdir(path.c_str(), 0700) == 0)
            return 0;
    }
    const int error = errno;
    struct stat st;
    return error == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? 0 : error;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string_view withoutEndSlashes(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

std::string childPath(std::string_view folder, std::string_view name) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path += folder;
    if (!path.ends_with('/')) // the root "/" has its slash
        path += '/';
    path += name;
    return path;
}

} // namespace quarrydex
