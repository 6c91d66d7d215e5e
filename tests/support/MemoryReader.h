/// Bytes in memory as a file that tag readers can read, with a count of what they read.
/// Threads: one at a time.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"

#include <algorithm>
#include <string_view>

namespace quarrydex {

class MemoryReader final : public Reader {
  public:
    /// The bytes must outlive the reader. A `size` larger than they are makes a file that became
    /// shorter after it was opened.
    explicit MemoryReader(std::string_view bytes) : MemoryReader(bytes, bytes.size()) {}

    MemoryReader(std::string_view bytes, std::uint64_t size) : Reader(size), bytes_(bytes) {}

    [[nodiscard]] Bytes read(std::uint64_t at, std::span<std::uint8_t> into) const override {
        ++reads_;
        if (at >= bytes_.size())
            return {};
        const std::string_view found = bytes_.substr(static_cast<std::size_t>(at), into.size());
        std::copy(found.begin(), found.end(), into.begin());
        bytesRead_ += found.size();
        return into.first(found.size());
    }

    [[nodiscard]] std::size_t reads() const { return reads_; }

    [[nodiscard]] std::uint64_t bytesRead() const { return bytesRead_; }

  private:
    std::string_view bytes_;
    mutable std::size_t reads_ = 0;
    mutable std::uint64_t bytesRead_ = 0;
};

} // namespace quarrydex
