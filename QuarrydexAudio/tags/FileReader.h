/// One file opened for reading, closed with the object.
///
/// Only regular files are read: a pipe, a socket or a device is turned away unread, and opening one
/// does not wait for its other side.
/// Threads: any, reading at once too.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/base/Fd.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace quarrydex {

class FileReader final : public Reader {
  public:
    /// `Reader(path:)`: nothing when the path cannot be opened or is no regular file.
    [[nodiscard]] static std::optional<FileReader> open(const std::string& path);

    FileReader(FileReader&&) = default;

    [[nodiscard]] Bytes read(std::uint64_t at, std::span<std::uint8_t> into) const override;

  private:
    FileReader(Fd fd, std::uint64_t size) : Reader(size), fd_(std::move(fd)) {}

    Fd fd_;
};

} // namespace quarrydex
