#include "QuarrydexAudio/tags/MP3.h"

#include "QuarrydexAudio/tags/Figures.h"
#include "QuarrydexAudio/tags/ID3.h"

#include <array>
#include <cstring>

namespace quarrydex {

namespace {

constexpr std::size_t bitrateCount = 15; ///< index 0 is free format, 15 forbidden

/// kbit/s by [MPEG-1, later][layer - 1][index].
constexpr std::uint16_t bitrates[2][3][bitrateCount] = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
    {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}}};

/// Hz by [version][index].
constexpr std::uint16_t sampleRates[3][3] = {
    {44100, 48000, 32000}, {22050, 24000, 16000}, {11025, 12000, 8000}};

std::uint32_t frameLength(const MP3::Frame& frame) {
    if (frame.layer == 1)
        return (12 * frame.bitrate / frame.sampleRate + frame.padding) * 4;
    const bool isHalf = frame.layer == 3 && frame.version != 0;
    return (isHalf ? 72 : 144) * frame.bitrate / frame.sampleRate + frame.padding;
}

std::uint16_t samplesOf(const MP3::Frame& frame) {
    if (frame.layer == 1)
        return 384;
    return frame.layer == 3 && frame.version != 0 ? 576 : 1152;
}

/// Where the first frame stands, and what it says.
struct FirstFrame {
    std::size_t at{};
    MP3::Frame frame;
};

/// True when the next frame lies beyond the bytes, or is one of the same stream.
bool isFollowed(Bytes bytes, std::size_t at, const MP3::Frame& frame) {
    const std::size_t next = at + frame.length;
    if (next + MP3::headerSize > bytes.size())
        return true;
    const auto other = MP3::header(bytes, next);
    return other && other->version == frame.version && other->layer == frame.layer &&
           other->sampleRate == frame.sampleRate;
}

/// Offset of the next byte with which a frame may begin, or the number of bytes.
std::size_t findSync(Bytes bytes, std::size_t at) {
    const void* found = std::memchr(bytes.data() + at, 0xFF, bytes.size() - at);
    return found == nullptr
               ? bytes.size()
               : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
}

std::optional<FirstFrame> findFirstFrame(Bytes bytes) {
    if (bytes.size() <= MP3::headerSize)
        return std::nullopt;
    const std::size_t end = bytes.size() - MP3::headerSize;
    for (std::size_t at = findSync(bytes, 0); at < end; at = findSync(bytes, at + 1)) {
        const auto frame = MP3::header(bytes, at);
        if (frame && isFollowed(bytes, at, *frame))
            return FirstFrame{at, *frame};
    }
    return std::nullopt;
}

/// What an encoder wrote in place of the first frame's audio.
struct StreamLength {
    std::uint32_t frames{}; ///< 0: not known
    std::uint32_t bytes{};  ///< 0: not known
};

/// Bytes of the side information of a layer III frame.
std::size_t sideInfoSize(const MP3::Frame& frame) {
    const bool isMono = frame.channels == 1;
    if (frame.version == 0)
        return isMono ? 17 : 32;
    return isMono ? 9 : 17;
}

StreamLength readStreamLength(Bytes bytes, const FirstFrame& first, AudioMeta& into) {
    const Bytes xing = part(bytes, first.at + MP3::headerSize + sideInfoSize(first.frame));
    if (xing.size() >= 12 && (beginsWith(xing, "Xing") || beginsWith(xing, "Info"))) {
        const std::uint32_t flags = u32be(xing, 4);
        into.vbr = xing[0] == 'X';
        if ((flags & 1U) == 0)
            return {}; // a count of bytes alone gives no length
        return {u32be(xing, 8), (flags & 2U) != 0 ? u32be(xing, 12) : 0};
    }
    const Bytes vbri = part(bytes, first.at + 36);
    if (vbri.size() < 18 || !beginsWith(vbri, "VBRI"))
        return {};
    into.vbr = true;
    return {u32be(vbri, 14), u32be(vbri, 10)};
}

/// Length and bit rate from the number of frames that the encoder noted.
void takeStreamLength(const StreamLength& length,
                      const MP3::Frame& frame,
                      std::uint64_t audioBytes,
                      AudioMeta& into) {
    const double seconds = static_cast<double>(frame.samples) * length.frames / frame.sampleRate;
    into.durationMs = clamped<std::uint32_t>(seconds * 1000);
    into.bitrateKbps = meanKbps(length.bytes != 0 ? length.bytes : audioBytes, seconds);
}

/// Length and bit rate from the mean of the first frames.
void estimateLength(Bytes bytes,
                    const FirstFrame& first,
                    std::uint64_t audioBytes,
                    AudioMeta& into) {
    double sum = 0;
    int count = 0;
    auto frame = std::optional(first.frame);
    for (std::size_t at = first.at; frame && count < MP3::mostFrames;
         frame = MP3::header(bytes, at)) {
        into.vbr = into.vbr || frame->bitrate != first.frame.bitrate;
        sum += frame->bitrate;
        ++count;
        at += frame->length;
    }
    const double mean = sum / count;
    into.bitrateKbps = clamped<std::uint16_t>(mean / 1000);
    into.durationMs = durationOf(static_cast<double>(audioBytes) * 8, mean);
}

} // namespace

std::optional<MP3::Frame> MP3::header(Bytes bytes, std::size_t at) {
    const Bytes head = part(bytes, at, headerSize);
    if (head.size() < headerSize || head[0] != 0xFF || head[1] < 0xE0)
        return std::nullopt;
    const unsigned versionBits = head[1] >> 3 & 3U;
    const unsigned layerBits = head[1] >> 1 & 3U;
    const unsigned bitrateIndex = head[2] >> 4;
    const unsigned rateIndex = head[2] >> 2 & 3U;
    if (versionBits == 1 || layerBits == 0 || bitrateIndex == 0 || bitrateIndex == bitrateCount ||
        rateIndex == 3)
        return std::nullopt;
    Frame frame;
    frame.version = static_cast<std::uint8_t>(versionBits == 0 ? 2 : 3 - versionBits);
    frame.layer = static_cast<std::uint8_t>(4 - layerBits);
    frame.bitrate = bitrates[frame.version == 0 ? 0 : 1][frame.layer - 1][bitrateIndex] * 1000U;
    frame.sampleRate = sampleRates[frame.version][rateIndex];
    frame.channels = head[3] >> 6 == 3 ? 1 : 2;
    frame.padding = head[2] >> 1 & 1U;
    frame.length = frameLength(frame);
    frame.samples = samplesOf(frame);
    if (frame.length <= headerSize)
        return std::nullopt;
    return frame;
}

bool MP3::parse(const Reader& reader, AudioMeta& into) {
    const std::uint64_t tagEnd = ID3::parse(reader, 0, into);
    std::array<std::uint8_t, searchedBytes> buffer;
    const Bytes bytes = reader.read(tagEnd, buffer);
    const auto first = findFirstFrame(bytes);
    if (!first)
        return false;
    const std::uint64_t begin = tagEnd + first->at;
    const std::uint64_t end = ID3::parseV1(reader, into);
    const std::uint64_t audioBytes = end > begin ? end - begin : 0;

    into.codec = AudioCodec::mp3;
    into.sampleRate = first->frame.sampleRate;
    into.channels = first->frame.channels;
    const StreamLength length = readStreamLength(bytes, *first, into);
    if (length.frames != 0)
        takeStreamLength(length, first->frame, audioBytes, into);
    else
        estimateLength(bytes, *first, audioBytes, into);
    return into.durationMs != 0;
}

} // namespace quarrydex
