/// Audio files byte by byte, so that a test can build any that an encoder would write, and those
/// that none would.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex::bytes {

/// A number in `count` bytes, the highest or the lowest first.
[[nodiscard]] std::string be(std::uint64_t value, std::size_t count);
[[nodiscard]] std::string le(std::uint64_t value, std::size_t count);

/// 28 bits in four groups of seven.
[[nodiscard]] std::string synchsafe(std::uint32_t value);

[[nodiscard]] std::string zeros(std::size_t count);

/// The text in UTF-16. REQUIRES: ASCII.
[[nodiscard]] std::string utf16le(std::string_view text);
[[nodiscard]] std::string utf16be(std::string_view text);

// --- ID3 ----------------------------------------------------------------------------------------

/// A frame of version 2.`major`: 2, 3 or 4.
[[nodiscard]] std::string id3Frame(unsigned major, std::string_view id, std::string_view body);

/// A text frame in ISO-8859-1.
[[nodiscard]] std::string id3Text(unsigned major, std::string_view id, std::string_view text);

[[nodiscard]] std::string id3Tag(unsigned major, std::string_view frames, unsigned flags = 0);

struct V1Tag {
    std::string_view title{};
    std::string_view artist{};
    std::string_view album{};
    std::string_view year{};
    unsigned genre = 255;
};

[[nodiscard]] std::string id3v1(const V1Tag& tag);

// --- MPEG audio ---------------------------------------------------------------------------------

/// The fields of a frame header as they are coded; MPEG-1 layer III, 128 kbit/s, 44,100 Hz, stereo
/// unless said otherwise.
struct MpegHeader {
    unsigned version = 3;
    unsigned layer = 1;
    unsigned bitrate = 9;
    unsigned rate = 0;
    unsigned padding = 0;
    unsigned mode = 0;

    [[nodiscard]] std::string bytes() const;
};

/// Length of the default header's frame.
inline constexpr std::size_t mpegFrameSize = 417;

/// A frame of that length: the header, then zeros, in them `content` at an offset.
[[nodiscard]] std::string mpegFrame(const MpegHeader& header = {},
                                    std::size_t length = mpegFrameSize,
                                    std::size_t at = 0,
                                    std::string_view content = "");

[[nodiscard]] std::string mpegFrames(std::size_t count, const MpegHeader& header = {});

/// The header that stands in the first frame's audio: `name` is "Xing" or "Info".
[[nodiscard]] std::string xing(std::string_view name, unsigned flags, std::string_view fields);
[[nodiscard]] std::string vbri(std::uint32_t bytes, std::uint32_t frames);

// --- FLAC ---------------------------------------------------------------------------------------

struct StreamInfo {
    unsigned rate = 44100;
    unsigned channels = 2;
    unsigned bits = 16;
    std::uint64_t samples = 44100;
};

[[nodiscard]] std::string streamInfo(const StreamInfo& info = {});

struct BlockOptions {
    bool isLast = false;
};

[[nodiscard]] std::string
flacBlock(unsigned type, std::string_view data, BlockOptions options = {});

/// The contents of a comment block.
[[nodiscard]] std::string comments(const std::vector<std::string>& texts);

// --- RIFF and IFF -------------------------------------------------------------------------------

/// A chunk with a little-endian (RIFF) or big-endian (IFF) size, padded.
[[nodiscard]] std::string chunkLE(std::string_view id, std::string_view data);
[[nodiscard]] std::string chunkBE(std::string_view id, std::string_view data);
[[nodiscard]] std::string wave(std::string_view chunks);
[[nodiscard]] std::string aiff(std::string_view chunks, std::string_view type = "AIFF");

struct WaveFormat {
    unsigned tag = 1;
    unsigned channels = 2;
    std::uint32_t rate = 44100;
    std::uint32_t byteRate = 176400;
    unsigned bits = 16;
};

/// A format chunk of 16 bytes and what follows them.
[[nodiscard]] std::string waveFormat(const WaveFormat& format = {}, std::string_view more = "");

/// An 80-bit number from its two halves.
[[nodiscard]] std::string extended(unsigned exponent, std::uint64_t mantissa);

/// A whole number below 2^32 as one.
[[nodiscard]] std::string extended(std::uint32_t value);

struct Common {
    unsigned channels = 2;
    std::uint32_t frames = 44100;
    unsigned bits = 16;
    std::string rate = extended(44100);
};

/// The contents of a common chunk.
[[nodiscard]] std::string common(const Common& common = {}, std::string_view more = "");

// --- MP4 ----------------------------------------------------------------------------------------

[[nodiscard]] std::string atom(std::string_view type, std::string_view data);

/// The same with a 64-bit size.
[[nodiscard]] std::string longAtom(std::string_view type, std::string_view data);

[[nodiscard]] std::string movieHeader(std::uint32_t timeScale, std::uint32_t duration);

struct SampleEntry {
    std::string_view type = "mp4a";
    unsigned channels = 2;
    unsigned bits = 16;
    unsigned rate = 44100; ///< below 65,536
};

[[nodiscard]] std::string sampleEntry(const SampleEntry& entry, std::string_view children = "");

/// A track with that one entry.
[[nodiscard]] std::string track(std::string_view handler, std::string_view entry);

/// A descriptor with its length in one byte, or in four.
[[nodiscard]] std::string descriptor(unsigned tag, std::string_view contents);
[[nodiscard]] std::string wideDescriptor(unsigned tag, std::string_view contents);
[[nodiscard]] std::string esds(unsigned objectType, std::uint32_t bitrate);

[[nodiscard]] std::string item(std::string_view type, std::string_view value);
[[nodiscard]] std::string namedItem(std::string_view name, std::string_view value);

/// The user data with these items.
[[nodiscard]] std::string userData(std::string_view items);

} // namespace quarrydex::bytes
