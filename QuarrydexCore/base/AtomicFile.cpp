#include "QuarrydexCore/base/AtomicFile.h"

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/FileOps.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>

namespace quarrydex {

AtomicFile::AtomicFile(std::string path, mode_t mode)
    : path_(std::move(path)), temporary_(path_ + ".tmp"),
      fd_(fileOps().open(
          temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode)),
      leavesFile_(fd_ >= 0) {}

AtomicFile::~AtomicFile() {
    const int error = errno;
    if (fd_ >= 0)
        fileOps().close(fd_);
    if (leavesFile_)
        fileOps().unlink(temporary_.c_str());
    errno = error;
}

bool AtomicFile::write(const void* bytes, std::size_t count, std::uint64_t offset) {
    return writeAt(fd_, bytes, count, offset);
}

bool AtomicFile::setSize(std::uint64_t bytes) {
    int result = 0;
    do
        result = fileOps().ftruncate(fd_, static_cast<off_t>(bytes));
    while (result != 0 && errno == EINTR);
    return result == 0;
}

bool AtomicFile::commit() {
    int flushed = 0;
    do
        flushed = fileOps().fsync(fd_);
    while (flushed != 0 && errno == EINTR);
    if (flushed != 0)
        return false;
    // Whatever it returns, the descriptor is gone; a failure tells of writes that did not succeed.
    if (fileOps().close(std::exchange(fd_, -1)) != 0)
        return false;
    if (fileOps().rename(temporary_.c_str(), path_.c_str()) != 0)
        return false;
    leavesFile_ = false;
    return true;
}

} // namespace quarrydex
