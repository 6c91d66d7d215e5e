#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

namespace quarrydex {

namespace {

/// The file stays when the lock ends: removing it would let two processes lock two files of one
/// name.
class HeldLock : public FileLock {
  public:
    explicit HeldLock(Fd fd) : fd_(std::move(fd)) {}

  private:
    Fd fd_;
};

} // namespace

std::unique_ptr<FileLock> FileLock::acquire(const std::string& path) {
    if (makeFolders(folderOf(path)) != 0)
        return nullptr;
    Fd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!fd || ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0)
        return nullptr;
    return std::make_unique<HeldLock>(std::move(fd));
}

} // namespace quarrydex
