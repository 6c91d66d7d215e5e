/// The memory that the tag readers read into.
///
/// One thread at a time. Fails: what cannot be read is missing from the result; allocation failure
/// ends the process.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace quarrydex {

/// The bytes of a reader that were read last, so that a header which came along with the body
/// before it costs no read of its own.
template <std::size_t capacity> class Window {
  public:
    /// The reader must outlive the window.
    explicit Window(const Reader& reader) : reader_(reader) {}

    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// `count` bytes at an offset, fewer at the end of the file; valid until the next call. Where
    /// they must be read, the `ahead` bytes behind them come with them.
    /// REQUIRES: count + ahead ≤ capacity.
    [[nodiscard]] Bytes get(std::uint64_t at, std::size_t count, std::size_t ahead = 0) {
        const bool isHeld = at >= begin_ && at - begin_ <= held_.size() &&
                            held_.size() - static_cast<std::size_t>(at - begin_) >= count;
        if (!isHeld) {
            begin_ = at;
            held_ = reader_.read(at, std::span(buffer_).first(count + ahead));
        }
        return part(held_, static_cast<std::size_t>(at - begin_), count);
    }

  private:
    const Reader& reader_;
    std::uint64_t begin_ = 0;                   ///< offset of held_ in the file
    Bytes held_;                                ///< what buffer_ holds
    std::array<std::uint8_t, capacity> buffer_; ///< not cleared
};

/// Memory for one large piece after another; it grows and is never cleared.
class Scratch {
  public:
    /// Valid until the next call.
    [[nodiscard]] std::span<std::uint8_t> take(std::size_t bytes) {
        if (bytes > capacity_) {
            memory_ = std::make_unique_for_overwrite<std::uint8_t[]>(bytes);
            capacity_ = bytes;
        }
        return {memory_.get(), bytes};
    }

  private:
    std::unique_ptr<std::uint8_t[]> memory_;
    std::size_t capacity_ = 0;
};

} // namespace quarrydex
