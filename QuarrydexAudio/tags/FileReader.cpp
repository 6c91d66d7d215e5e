#include "QuarrydexAudio/tags/FileReader.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

std::optional<FileReader> FileReader::open(const std::string& path) {
    Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status;
    if (!fd || ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return FileReader(std::move(fd), static_cast<std::uint64_t>(status.st_size));
}

Bytes FileReader::read(std::uint64_t at, std::span<std::uint8_t> into) const {
    ssize_t count;
    do
        count = ::pread(fd_.get(), into.data(), into.size(), static_cast<off_t>(at));
    while (count < 0 && errno == EINTR);
    return into.first(count > 0 ? static_cast<std::size_t>(count) : 0);
}

} // namespace quarrydex
