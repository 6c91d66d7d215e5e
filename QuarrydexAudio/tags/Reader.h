/// Positioned reads from something of a known size: all that the tag readers see of a file.
///
/// Threads: as the implementation says; reading changes nothing. Fails: a read that fails looks
/// like the end of the file.
#pragma once

#include "QuarrydexAudio/tags/TagBytes.h"

#include <cstdint>
#include <span>

namespace quarrydex {

class Reader {
  public:
    virtual ~Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Bytes of the file when it was opened.
    [[nodiscard]] std::uint64_t size() const { return size_; }

    /// `read(at:count:)`: one positioned read of into.size() bytes. Returns what was read, a part
    /// of `into`: less at the end of the file, nothing beyond it or when the read fails.
    [[nodiscard]] virtual Bytes read(std::uint64_t at, std::span<std::uint8_t> into) const = 0;

  protected:
    explicit Reader(std::uint64_t size) : size_(size) {}

    Reader(Reader&&) = default;

  private:
    std::uint64_t size_;
};

} // namespace quarrydex
