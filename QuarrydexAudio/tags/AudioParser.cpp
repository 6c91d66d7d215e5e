#include "QuarrydexAudio/tags/AudioParser.h"

#include "QuarrydexAudio/tags/AIFF.h"
#include "QuarrydexAudio/tags/FLAC.h"
#include "QuarrydexAudio/tags/FileReader.h"
#include "QuarrydexAudio/tags/ID3.h"
#include "QuarrydexAudio/tags/MP3.h"
#include "QuarrydexAudio/tags/MP4.h"
#include "QuarrydexAudio/tags/WAV.h"

#include <array>

namespace quarrydex {

namespace {

constexpr std::size_t identifyingBytes = 12;

bool parseTagged(const Reader& reader, Bytes head, AudioMeta& into) {
    const std::uint64_t end = ID3::tagEnd(head, 0);
    std::array<std::uint8_t, 4> buffer;
    const Bytes behind = end == 0 ? part(head, 0, 4) : reader.read(end, buffer);
    return beginsWith(behind, "fLaC") ? FLAC::parse(reader, end, into) : MP3::parse(reader, into);
}

bool isFrameSync(Bytes head) {
    return head[0] == 0xFF && head[1] >= 0xE0;
}

/// REQUIRES: head.size() == identifyingBytes.
bool parseInto(const Reader& reader, Bytes head, std::string_view ext, AudioMeta& into) {
    const Bytes form = head.subspan(8);
    if (beginsWith(head, "fLaC"))
        return FLAC::parse(reader, 0, into);
    if (beginsWith(head, "RIFF") && beginsWith(form, "WAVE"))
        return WAV::parse(reader, into);
    if (beginsWith(head, "FORM") && (beginsWith(form, "AIFF") || beginsWith(form, "AIFC")))
        return AIFF::parse(reader, into);
    if (beginsWith(head.subspan(4), "ftyp"))
        return MP4::parse(reader, into);
    if (beginsWith(head, "ID3"))
        return parseTagged(reader, head, into);
    if (isFrameSync(head) || ext == "mp3" || ext == "mp2")
        return MP3::parse(reader, into);
    return false;
}

} // namespace

std::optional<AudioMeta> AudioParser::parse(const std::string& path, std::string_view ext) {
    const auto reader = FileReader::open(path);
    return reader ? parse(*reader, ext) : std::nullopt;
}

std::optional<AudioMeta> AudioParser::parse(const Reader& reader, std::string_view ext) {
    std::array<std::uint8_t, identifyingBytes> buffer;
    if (reader.size() < identifyingBytes)
        return std::nullopt;
    const Bytes head = reader.read(0, buffer);
    AudioMeta meta;
    if (head.size() < identifyingBytes || !parseInto(reader, head, ext, meta))
        return std::nullopt;
    return meta;
}

} // namespace quarrydex
