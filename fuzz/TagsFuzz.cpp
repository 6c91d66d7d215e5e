/// Any bytes as an audio file. The first byte picks a reader, or the choice by contents. Reading
/// must stay bounded, and what comes out must fit the record.
#include "QuarrydexAudio/tags/AIFF.h"
#include "QuarrydexAudio/tags/AudioParser.h"
#include "QuarrydexAudio/tags/FLAC.h"
#include "QuarrydexAudio/tags/ID3.h"
#include "QuarrydexAudio/tags/MP3.h"
#include "QuarrydexAudio/tags/MP4.h"
#include "QuarrydexAudio/tags/WAV.h"
#include "QuarrydexCore/text/Utf8.h"

#include "tests/support/MemoryReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

using namespace quarrydex;

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

void checkText(std::string_view text) {
    require(text == trimmedText(text));
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        require(point.isValid() && point.value != 0);
        text.remove_prefix(point.byteCount);
    }
}

void check(const AudioMeta& meta) {
    for (const std::string* text : {&meta.artist, &meta.title, &meta.album, &meta.genre, &meta.key})
        checkText(*text);
    require(meta.year == 0 || (meta.year > 999 && meta.year < 10'000));
    require(audioCodecFromRaw(static_cast<std::uint8_t>(meta.codec)).has_value());
}

/// The most that any file may cost: 64 chunks, each with a tag of 400 frames or with a list.
void checkReads(const MemoryReader& reader) {
    constexpr std::uint64_t tagReads = 2 * ID3::mostFrames + 2;
    constexpr std::uint64_t tagBytes = ID3::mostFrames * (ID3::largestFrame + 20) + 20;
    require(reader.reads() <= 64 * (tagReads + 2));
    require(reader.bytesRead() <= 64 * tagBytes + FLAC::mostCommentBytes + MP4::largestMovie);
}

/// A record only where the reader says that it is usable.
std::optional<AudioMeta> parseBy(unsigned reader, const MemoryReader& file) {
    AudioMeta meta;
    switch (reader) {
    case 0:
        return MP3::parse(file, meta) ? std::optional(meta) : std::nullopt;
    case 1:
        return FLAC::parse(file, 0, meta) ? std::optional(meta) : std::nullopt;
    case 2:
        return WAV::parse(file, meta) ? std::optional(meta) : std::nullopt;
    case 3:
        return AIFF::parse(file, meta) ? std::optional(meta) : std::nullopt;
    case 4:
        return MP4::parse(file, meta) ? std::optional(meta) : std::nullopt;
    case 5:
        require(ID3::parse(file, 3, meta) >= 3);
        return meta;
    case 6:
        require(ID3::parseV1(file, meta) <= file.size());
        return meta;
    default:
        return AudioParser::parse(file, "mp3");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const unsigned choice = data[0] % 8;
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    // Now and then a file that became shorter after it was opened.
    const bool hasShrunk = (data[0] & 0x80) != 0;
    const MemoryReader file(bytes, bytes.size() * (hasShrunk ? 3 : 1));
    const std::optional<AudioMeta> meta = parseBy(choice, file);
    checkReads(file);
    if (!meta)
        return 0;
    check(*meta);
    require(choice == 1 || choice == 5 || choice == 6 || meta->durationMs != 0 ||
            meta->codec == AudioCodec::flac);
    return 0;
}
