#include "QuarrydexCore/base/Fd.h"

#include "QuarrydexCore/base/FileOps.h"

#include <algorithm>
#include <cerrno>

namespace quarrydex {

namespace {

constexpr std::size_t largestPiece = std::size_t{64} << 20;

/// Calls move(done, piece) until all bytes are through; it returns as read and write do.
template <typename Move> bool moveAll(std::size_t bytes, const Move& move) {
    for (std::size_t done = 0; done < bytes;) {
        const ssize_t moved = move(done, std::min(bytes - done, largestPiece));
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved <= 0) {
            errno = moved == 0 ? 0 : errno;
            return false;
        }
        done += static_cast<std::size_t>(moved);
    }
    return true;
}

} // namespace

bool readAt(int fd, void* to, std::size_t bytes, std::uint64_t offset) {
    return moveAll(bytes, [&](std::size_t done, std::size_t piece) {
        return ::pread(fd, static_cast<char*>(to) + done, piece, static_cast<off_t>(offset + done));
    });
}

bool writeAt(int fd, const void* from, std::size_t bytes, std::uint64_t offset) {
    return moveAll(bytes, [&](std::size_t done, std::size_t piece) {
        return fileOps().pwrite(fd, static_cast<const char*>(from) + done, piece,
                                static_cast<off_t>(offset + done));
    });
}

} // namespace quarrydex
