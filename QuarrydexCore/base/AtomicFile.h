/// A file that replaces another one as a whole or not at all: written beside it as "<path>.tmp",
/// flushed to the disk, renamed over it.
///
/// Threads: one. Failure: operations return false with errno kept; the object's end then removes
/// what was written. Until commit() has renamed, the old file stays as it is; a process that dies
/// leaves at most the temporary file, which the next write replaces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

namespace quarrydex {

class AtomicFile {
  public:
    /// Creates or empties the temporary file with these permissions.
    AtomicFile(std::string path, mode_t mode);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    [[nodiscard]] bool isOpen() const { return fd_ >= 0; }

    [[nodiscard]] bool write(const void* bytes, std::size_t count, std::uint64_t offset);

    /// Cuts or extends with zeros.
    [[nodiscard]] bool setSize(std::uint64_t bytes);

    /// Flushes, closes and renames. Nothing may follow.
    [[nodiscard]] bool commit();

  private:
    std::string path_;
    std::string temporary_;
    int fd_;
    bool leavesFile_; ///< the temporary file exists and is to be removed
};

} // namespace quarrydex
