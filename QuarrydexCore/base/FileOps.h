/// The system calls by which the program writes files of its own, in one place, so that tests can
/// let any one of them fail, or the process die before it.
///
/// Threads: any. Errors: as the system reports them, errno kept.
#pragma once

#include <cstddef>

#include <sys/types.h>

namespace quarrydex {

/// The system's calls; a test overrides some.
class FileOps {
  public:
    virtual ~FileOps() = default;

    virtual int open(const char* path, int flags, mode_t mode);
    virtual ssize_t pwrite(int fd, const void* bytes, std::size_t count, off_t offset);
    virtual int ftruncate(int fd, off_t size);
    virtual int fsync(int fd);
    virtual int close(int fd);
    virtual int rename(const char* from, const char* to);
    virtual int unlink(const char* path);
};

/// The calls in use.
[[nodiscard]] FileOps& fileOps();

/// Installs others, which must outlive every write; nullptr restores the system's.
void setFileOps(FileOps* ops);

} // namespace quarrydex
