#include "QuarrydexCore/catalog/CacheFile.h"

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

bool CacheFile::writeCache(const std::string& path) const {
    return fidx_write_file(path.c_str(), bytes.data(), bytes.size()) == fidx_ok;
}

std::optional<CacheFile> CacheFile::read(const std::string& path) {
    const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));

    struct stat status {};

    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    CacheFile out;
    out.bytes.resize(static_cast<std::size_t>(status.st_size));
    if (!readAt(file.get(), out.bytes.data(), out.bytes.size(), 0))
        return std::nullopt;
    return out;
}

} // namespace quarrydex
