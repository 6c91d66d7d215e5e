/// ID3 tags: version 2 (2.2, 2.3, 2.4) at the head of a file or in a chunk of it, version 1 at its
/// end.
///
///     tag    "ID3"  major  minor  flags  size[4]          10 bytes, then the frames
///     frame  id[3]  size[3]                               2.2: 6 bytes, then the body
///            id[4]  size[4]  flags[2]                     2.3, 2.4: 10 bytes, then the body
///     body   encoding  text
///
/// Only the text frames of interest are read, each with the header behind it. Flags of frames,
/// unsynchronisation and compression are not interpreted.
/// Threads: any; no state. Fails: never; a walk ends at the first header that does not fit.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexAudio/tags/TagText.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

class ID3 {
  public:
    static constexpr std::size_t headerSize = 10;
    static constexpr std::size_t largestFrame = 8192; ///< larger ones are skipped unread
    static constexpr int mostFrames = 400;
    static constexpr std::size_t v1Size = 128;

    /// Named by their numbers; there are no later extensions.
    static const std::array<std::string_view, 80> genres;

    /// The name of a genre number, empty where there is none.
    [[nodiscard]] static std::string_view genre(std::size_t number);

    /// Four groups of 7 bits, the highest first; 0 beyond the bytes.
    [[nodiscard]] static std::uint32_t synchsafe(Bytes bytes, std::size_t at);

    /// `tagEnd(reader, at)`: where the tag at an offset ends; the offset itself where none begins.
    [[nodiscard]] static std::uint64_t tagEnd(const Reader& reader, std::uint64_t at);

    /// The same from the bytes at that offset, of which 10 are wanted.
    [[nodiscard]] static std::uint64_t tagEnd(Bytes header, std::uint64_t at);

    /// The text of a text frame's body; nothing for an empty body.
    [[nodiscard]] static std::optional<std::string> frameText(Bytes body);

    /// `field(id)`: what a frame holds, by its four characters, or by three and a space.
    [[nodiscard]] static TagField field(FourCC id);

    /// "Indie" for "(17)Indie", "Rock" for "(17)" and for "17"; any other text as it stands.
    [[nodiscard]] static std::string genreName(std::string_view text);

    /// `parse(reader, at, into:)`: takes over the version 2 tag at an offset. Returns its end.
    static std::uint64_t parse(const Reader& reader, std::uint64_t at, AudioMeta& into);

    /// Takes over the version 1 tag at the end of the file, unless the record has a title or an
    /// artist. Returns where the audio ends: before the tag, or at the end of the file.
    static std::uint64_t parseV1(const Reader& reader, AudioMeta& into);
};

} // namespace quarrydex
