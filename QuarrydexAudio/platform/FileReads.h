/// The door through which files are read in order to be compared: what a file is at one moment, and
/// its bytes. Nothing here ever writes, waits for a pipe's other end, or follows a link.
///
/// Threads: any; no state. Failure: nothing, or -1 with errno kept.
#pragma once

#include "QuarrydexCore/base/Fd.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

namespace quarrydex {

/// One regular file at one moment. Equal states with the same bytes in between are what every
/// comparison of files rests on.
struct FileState {
    std::uint64_t device{};
    std::uint64_t inode{};
    std::uint64_t size{};   ///< bytes
    std::int64_t mtimeNs{}; ///< since 1970-01-01 UTC

    bool operator==(const FileState&) const = default;
};

/// How a file is going to be read, so that the system neither reads too far ahead nor throws out of
/// its memory what others need more.
enum class ReadPlan : std::uint8_t {
    pieces, ///< a few places: no reading ahead
    whole,  ///< once from the first byte to the last
};

class FileReads {
  public:
    virtual ~FileReads() = default;

    /// The state of what the path names itself; nothing unless that is a regular file.
    [[nodiscard]] virtual std::optional<FileState> look(const std::string& path) const = 0;

    /// Opens for reading and returns at once, whatever the path names by now.
    [[nodiscard]] virtual Fd open(const std::string& path, ReadPlan plan) const = 0;

    /// The state of an open file; nothing unless it is a regular one.
    [[nodiscard]] virtual std::optional<FileState> state(int fd) const = 0;

    /// Up to `bytes` at the offset; 0 at the end of the file.
    [[nodiscard]] virtual ssize_t
    read(int fd, void* to, std::size_t bytes, std::uint64_t offset) const = 0;
};

/// The reads of the system this program was built for; live as long as the process.
[[nodiscard]] const FileReads& systemFileReads();

} // namespace quarrydex
