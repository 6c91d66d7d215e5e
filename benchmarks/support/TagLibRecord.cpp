#include "benchmarks/support/TagLibRecord.h"

#ifdef QDX_HAVE_TAGLIB

#include "QuarrydexAudio/tags/TagText.h"

#include <aifffile.h>
#include <fileref.h>
#include <flacfile.h>
#include <mp4file.h>
#include <mpegfile.h>
#include <tpropertymap.h>
#include <wavfile.h>

namespace quarrydex::bench {

namespace {

/// The codec, and the bits that only the properties of the file type hold.
void takeType(TagLib::File& file, AudioMeta& into) {
    int bits = 0;
    if (dynamic_cast<TagLib::MPEG::File*>(&file) != nullptr) {
        into.codec = AudioCodec::mp3;
    } else if (const auto* flac = dynamic_cast<TagLib::FLAC::File*>(&file)) {
        into.codec = AudioCodec::flac;
        bits = flac->audioProperties()->bitsPerSample();
    } else if (const auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(&file)) {
        into.codec = wav->audioProperties()->format() == 3 ? AudioCodec::float_ : AudioCodec::pcm;
        bits = wav->audioProperties()->bitsPerSample();
    } else if (const auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(&file)) {
        into.codec = AudioCodec::aiff;
        bits = aiff->audioProperties()->bitsPerSample();
    } else if (const auto* mp4 = dynamic_cast<TagLib::MP4::File*>(&file)) {
        into.codec = mp4->audioProperties()->codec() == TagLib::MP4::Properties::ALAC
                         ? AudioCodec::alac
                         : AudioCodec::aac;
        bits = mp4->audioProperties()->bitsPerSample();
    }
    into.bits = static_cast<std::uint8_t>(bits);
}

} // namespace

bool hasTagLib() {
    return true;
}

std::optional<AudioMeta> tagLibRecord(const std::string& path) {
    const TagLib::FileRef ref(path.c_str());
    if (ref.isNull() || ref.audioProperties() == nullptr)
        return std::nullopt;
    AudioMeta meta;
    const TagLib::AudioProperties& properties = *ref.audioProperties();
    meta.durationMs = static_cast<std::uint32_t>(properties.lengthInMilliseconds());
    meta.bitrateKbps = static_cast<std::uint16_t>(properties.bitrate());
    meta.sampleRate = static_cast<std::uint32_t>(properties.sampleRate());
    meta.channels = static_cast<std::uint8_t>(properties.channels());
    takeType(*ref.file(), meta);
    const TagLib::PropertyMap texts = ref.file()->properties();
    const auto text = [&](const char* key) {
        const auto found = texts.find(key);
        return found == texts.end() || found->second.isEmpty() ? std::string()
                                                               : found->second[0].to8Bit(true);
    };
    meta.title = text("TITLE");
    meta.artist = text("ARTIST");
    meta.album = text("ALBUM");
    meta.genre = text("GENRE");
    meta.key = text("INITIALKEY");
    meta.year = yearOf(text("DATE"));
    meta.bpm10 = tempo10Of(text("BPM"));
    return meta;
}

} // namespace quarrydex::bench

#else

namespace quarrydex::bench {

bool hasTagLib() {
    return false;
}

std::optional<AudioMeta> tagLibRecord(const std::string&) {
    return std::nullopt;
}

} // namespace quarrydex::bench

#endif
