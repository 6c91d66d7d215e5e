#include "QuarrydexAudio/tags/AIFF.h"

#include "QuarrydexAudio/tags/Chunks.h"
#include "QuarrydexAudio/tags/Figures.h"
#include "QuarrydexAudio/tags/ID3.h"
#include "QuarrydexAudio/tags/TagText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace quarrydex {

namespace {

constexpr std::uint32_t smallestCommon = 18;
constexpr std::uint32_t smallestCompressed = 22; ///< from here on the compression type is there
constexpr std::uint32_t largestCommon = 30;
constexpr std::uint32_t textLimit = 4096; ///< longer texts are not read

AudioCodec codecOf(FourCC compression) {
    switch (compression) {
    case code("fl32"):
    case code("fl64"):
        return AudioCodec::float_;
    case code("NONE"):
    case code("sowt"):
    case code("twos"):
        return AudioCodec::aiff;
    default:
        return AudioCodec::other;
    }
}

void takeCommon(const Chunk& chunk, ChunkWindow& window, AudioMeta& into) {
    if (chunk.size < smallestCommon)
        return;
    const Bytes common = window.get(chunk.at, std::min(chunk.size, largestCommon));
    const std::uint16_t channels = u16be(common, 0);
    const std::uint16_t bits = u16be(common, 6);
    const double rate = AIFF::extended(common, 8);
    const bool isCompressed = chunk.size >= smallestCompressed;
    into.codec = isCompressed ? codecOf(fourCC(common, 18)) : AudioCodec::aiff;
    into.channels = clamped<std::uint8_t>(channels);
    into.bits = clamped<std::uint8_t>(bits);
    into.sampleRate = clamped<std::uint32_t>(rate);
    into.durationMs = durationOf(u32be(common, 2), rate);
    into.bitrateKbps = clamped<std::uint16_t>(rate * channels * bits / 1000);
}

bool isText(const Chunk& chunk) {
    return chunk.size > 0 && chunk.size < textLimit;
}

std::string textOf(const Reader& reader, const Chunk& chunk) {
    std::array<std::uint8_t, textLimit> buffer;
    return decodeText(reader.read(chunk.at, std::span(buffer).first(chunk.size)));
}

} // namespace

double AIFF::extended(Bytes bytes, std::size_t at) {
    const Bytes number = part(bytes, at, 10);
    const int exponent = u16be(number, 0) & 0x7FFF;
    const std::uint64_t mantissa = u64be(number, 2);
    if (number.size() < 10 || exponent == 0 || mantissa == 0)
        return 0;
    return std::ldexp(static_cast<double>(mantissa), exponent - 16446);
}

bool AIFF::parse(const Reader& reader, AudioMeta& into) {
    ChunkWindow window(reader);
    TagSink sink(into);
    forEachChunk(reader, window, u32be, [&](const Chunk& chunk) {
        switch (chunk.id) {
        case code("COMM"):
            takeCommon(chunk, window, into);
            break;
        case code("NAME"):
            if (isText(chunk))
                sink.set(TagField::title, textOf(reader, chunk));
            break;
        case code("AUTH"):
            if (isText(chunk))
                sink.set(TagField::artist, textOf(reader, chunk));
            break;
        case code("ID3 "):
        case code("id3 "):
            ID3::parse(reader, chunk.at, into);
            break;
        default:
            break;
        }
    });
    return into.durationMs != 0;
}

} // namespace quarrydex
