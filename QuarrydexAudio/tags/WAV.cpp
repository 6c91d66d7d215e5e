#include "QuarrydexAudio/tags/WAV.h"

#include "QuarrydexAudio/tags/Chunks.h"
#include "QuarrydexAudio/tags/Figures.h"
#include "QuarrydexAudio/tags/ID3.h"
#include "QuarrydexAudio/tags/TagText.h"

#include <algorithm>

namespace quarrydex {

namespace {

constexpr std::uint32_t smallestFormat = 16;
constexpr std::uint32_t largestFormat = 40;
constexpr std::uint32_t listLimit = 1U << 20; ///< larger lists are not read

AudioCodec codecOf(std::uint16_t formatTag) {
    constexpr std::uint16_t pcm = 1;
    constexpr std::uint16_t ieeeFloat = 3;
    if (formatTag == pcm)
        return AudioCodec::pcm;
    return formatTag == ieeeFloat ? AudioCodec::float_ : AudioCodec::other;
}

TagField infoField(FourCC id) {
    switch (id) {
    case code("INAM"):
        return TagField::title;
    case code("IART"):
        return TagField::artist;
    case code("IPRD"):
        return TagField::album;
    case code("IGNR"):
        return TagField::genre;
    case code("ICRD"):
        return TagField::year;
    default:
        return TagField::none;
    }
}

/// One walk over the chunks of a file.
class WaveReader {
  public:
    WaveReader(const Reader& reader, AudioMeta& into) : reader_(reader), into_(into) {}

    [[nodiscard]] bool read() {
        forEachChunk(reader_, window_, u32le, [&](const Chunk& chunk) { take(chunk); });
        into_.durationMs = durationOf(static_cast<double>(audioBytes_), byteRate_);
        into_.bitrateKbps = clamped<std::uint16_t>(byteRate_ * 8.0 / 1000);
        return into_.durationMs != 0;
    }

  private:
    void take(const Chunk& chunk) {
        switch (chunk.id) {
        case code("fmt "):
            takeFormat(chunk);
            break;
        case code("data"):
            takeData(chunk);
            break;
        case code("LIST"):
            takeList(chunk);
            break;
        case code("id3 "):
        case code("ID3 "):
            ID3::parse(reader_, chunk.at, into_);
            break;
        default:
            break;
        }
    }

    void takeFormat(const Chunk& chunk) {
        constexpr std::uint16_t extensible = 0xFFFE;
        if (chunk.size < smallestFormat)
            return;
        const Bytes format = window_.get(chunk.at, std::min(chunk.size, largestFormat));
        std::uint16_t tag = u16le(format, 0);
        if (tag == extensible)
            tag =
                u16le(format, 24); // how the sub-format's identifier begins, 0 where there is none
        into_.codec = codecOf(tag);
        into_.channels = clamped<std::uint8_t>(u16le(format, 2));
        into_.sampleRate = u32le(format, 4);
        byteRate_ = u32le(format, 8);
        into_.bits = clamped<std::uint8_t>(u16le(format, 14));
    }

    void takeData(const Chunk& chunk) {
        constexpr std::uint32_t unknown = 0xFFFFFFFF;
        const std::uint64_t left = reader_.size() - chunk.at;
        audioBytes_ = chunk.size == unknown ? left : std::min<std::uint64_t>(chunk.size, left);
    }

    void takeList(const Chunk& chunk) {
        if (chunk.size >= listLimit || !beginsWith(window_.get(chunk.at, 4), "INFO"))
            return;
        const std::uint64_t left = reader_.size() - chunk.at;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size, left));
        WAV::listInfo(part(reader_.read(chunk.at, scratch_.take(count)), 4), into_);
    }

    const Reader& reader_;
    AudioMeta& into_;
    ChunkWindow window_{reader_};
    Scratch scratch_;
    std::uint32_t byteRate_ = 0;
    std::uint64_t audioBytes_ = 0;
};

} // namespace

bool WAV::parse(const Reader& reader, AudioMeta& into) {
    return WaveReader(reader, into).read();
}

void WAV::listInfo(Bytes bytes, AudioMeta& into) {
    TagSink sink(into);
    while (bytes.size() >= chunkHeaderSize) {
        const std::uint32_t size = u32le(bytes, 4);
        if (size > bytes.size() - chunkHeaderSize)
            break;
        const TagField field = infoField(fourCC(bytes, 0));
        if (field != TagField::none)
            sink.set(field, decodeText(part(bytes, chunkHeaderSize, size)));
        bytes = part(bytes, chunkHeaderSize + std::size_t{size} + size % 2);
    }
    sink.finish();
}

} // namespace quarrydex
