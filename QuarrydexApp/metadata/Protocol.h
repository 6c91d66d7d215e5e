/// What the program and its reader of files say to each other over the reader's standard input and
/// output: records, each with its length before it. Numbers are little-endian, integers unsigned
/// unless said otherwise.
///
///     request                                answer
///     0   u32  bytes that follow             0   u32  bytes that follow
///     4   u8   version                       4   u8   version
///     5   u8   kind: 0 meta, 1 preview       5   u8   1: the last opening is known; else 0
///     6   u16  limit of the picture, width   6   u16  picture, width; 0 for none
///     8   u16  … height                      8   u16  … height; 0 for none
///     10  u64  ticket, not 0                 10  u64  ticket; 0 in the greeting
///     18       path: 1 … 65,536 bytes, no    18  i64  last opened, seconds since 1970 UTC
///              zero byte                     26  u32  duration, ms
///                                            30  u32  bit rate, kbit/s
///                                            34  u32  sample rate, Hz
///                                            38  u32  width, pixels
///                                            42  u32  height, pixels
///                                            46  u32  pages
///                                            50  u32  bytes of the text, at most 256 Ki
///                                            54       text, UTF-8
///                                                     picture: rows of ARGB, premultiplied, 4
///                                                     bytes a pixel, at most 4,096 × 4,096
///
/// The reader begins with a greeting, an answer of which everything else is 0. Then it gives one
/// answer a request, in their order.
///
/// Neither side trusts the other: whatever does not fit this table to the byte is refused as a
/// whole. Threads: any; no state but a stream's own. Fails: by an empty optional.
#pragma once

#include "QuarrydexApp/metadata/FileMeta.h"

#include <QSize>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quarrydex::protocol {

inline constexpr std::uint8_t version = 1;
inline constexpr std::size_t requestHead = 18; ///< bytes before the path
inline constexpr std::size_t answerHead = 54;  ///< bytes before the text
inline constexpr int mostPixels = 4096;        ///< a side of a picture
inline constexpr std::size_t mostPathBytes = 65'536;
inline constexpr std::size_t mostTextBytes = std::size_t{256} << 10;
inline constexpr std::size_t largestRequest = requestHead + mostPathBytes;
inline constexpr std::size_t largestAnswer =
    answerHead + mostTextBytes + std::size_t{4} * mostPixels * mostPixels;

enum class Kind : std::uint8_t { meta, preview };

struct Request {
    std::uint64_t ticket{};
    Kind kind = Kind::meta;
    QSize limit{0, 0};
    std::string path{};
};

struct Answer {
    std::uint64_t ticket{};
    FilePreview found{};
};

/// A limit beyond the bounds becomes the nearest within. Nothing when the path is not within them.
[[nodiscard]] std::optional<std::string> encode(const Request& request);

/// A text that is too long is cut after a whole character, a picture that is too large left out.
[[nodiscard]] std::string encode(const Answer& answer);

/// Of a whole record, its length included.
[[nodiscard]] std::optional<Request> decodeRequest(std::string_view record);
[[nodiscard]] std::optional<Answer> decodeAnswer(std::string_view record);

/// Puts records together from the pieces in which a pipe delivers them.
class RecordStream {
  public:
    /// Of records of at most so many bytes, their length included.
    explicit RecordStream(std::size_t largest) : largest_(largest) {}

    void append(std::string_view bytes);

    /// The next whole record, length included; valid until the next call of this object.
    [[nodiscard]] std::optional<std::string_view> next();

    /// A record said that it is longer than the largest: nothing more comes out.
    [[nodiscard]] bool isBroken() const { return isBroken_; }

  private:
    std::size_t largest_;
    std::string bytes_;
    std::size_t taken_ = 0; ///< bytes of records that were given out
    bool isBroken_ = false;
};

} // namespace quarrydex::protocol
