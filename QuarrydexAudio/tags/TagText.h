/// What tag bytes say, as text and numbers, and where in the record it belongs: the rules that all
/// tag formats share.
///
/// Texts that come out are valid UTF-8 without NUL, and begin and end with no white space.
/// Threads: any; no state. Fails: never; what cannot be read is empty or 0.
#pragma once

#include "QuarrydexAudio/tags/TagBytes.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarrydex {

enum class Utf16Order : std::uint8_t { little, big };

/// `decodeText(_:utf16:)`: UTF-8, or ISO-8859-1 where the bytes are not valid UTF-8. A NUL ends the
/// text.
[[nodiscard]] std::string decodeText(Bytes bytes);

/// The same from UTF-16. An odd byte or a surrogate without its other half makes the text empty.
[[nodiscard]] std::string decodeText(Bytes bytes, Utf16Order order);

/// Without white space and line breaks at both ends.
[[nodiscard]] std::string_view trimmedText(std::string_view text);

/// At most so many bytes of the text's beginning, in whole code points, without white space at the
/// end.
[[nodiscard]] std::string shortenedText(std::string_view text, std::size_t bytes);

/// Equal but for the case of ASCII letters.
[[nodiscard]] bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// The first four characters as a number, 0 unless it is above 999.
[[nodiscard]] std::uint16_t yearOf(std::string_view text);

/// Tenths of a beat per minute from "128", "127.98" or "128,5"; 0 unless the whole text is a plain
/// decimal number above 0 and below 600.
[[nodiscard]] std::uint16_t tempo10Of(std::string_view text);

enum class TagField : std::uint8_t {
    none,
    artist,
    albumArtist,
    title,
    album,
    genre,
    year,
    tempo,
    key
};

/// Puts the values of one tag into a record. Of several artists the first one stays, of every other
/// field the last value.
class TagSink {
  public:
    /// The record must outlive the sink.
    explicit TagSink(AudioMeta& into) : into_(into) {}

    void set(TagField field, std::string text);

    /// To be called at the end of the tag: where no artist was found, the album's artist is one.
    void finish();

  private:
    AudioMeta& into_;
    std::string albumArtist_;
};

} // namespace quarrydex
