#include "QuarrydexAudio/tags/FLAC.h"

#include "QuarrydexAudio/tags/Figures.h"
#include "QuarrydexAudio/tags/TagText.h"
#include "QuarrydexAudio/tags/Window.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace quarrydex {

namespace {

constexpr std::size_t blockHeaderSize = 4;
constexpr std::size_t streamInfoSize = 34;
using BlockWindow = Window<blockHeaderSize + streamInfoSize + blockHeaderSize>;

constexpr unsigned streamInfoType = 0;
constexpr unsigned commentType = 4;

void takeStreamInfo(Bytes info, AudioMeta& into) {
    const std::uint64_t packed = u64be(info, 10); // rate:20 channels-1:3 bits-1:5 samples:36
    constexpr std::uint64_t sampleMask = (std::uint64_t{1} << 36) - 1;
    into.codec = AudioCodec::flac;
    into.sampleRate = static_cast<std::uint32_t>(packed >> 44);
    into.channels = static_cast<std::uint8_t>((packed >> 41 & 7) + 1);
    into.bits = static_cast<std::uint8_t>((packed >> 36 & 31) + 1);
    into.durationMs = durationOf(static_cast<double>(packed & sampleMask), into.sampleRate);
}

TagField fieldOf(std::string_view key) {
    struct Key {
        std::string_view name;
        TagField field;
    };

    static constexpr std::array<Key, 11> keys = {{{"TITLE", TagField::title},
                                                  {"ARTIST", TagField::artist},
                                                  {"ALBUM", TagField::album},
                                                  {"ALBUMARTIST", TagField::albumArtist},
                                                  {"GENRE", TagField::genre},
                                                  {"DATE", TagField::year},
                                                  {"YEAR", TagField::year},
                                                  {"BPM", TagField::tempo},
                                                  {"TEMPO", TagField::tempo},
                                                  {"KEY", TagField::key},
                                                  {"INITIALKEY", TagField::key}}};
    for (const Key& known : keys)
        if (equalsIgnoringCase(key, known.name))
            return known.field;
    return TagField::none;
}

void takeComment(Bytes comment, TagSink& sink) {
    const std::string_view text = charsOf(comment);
    const std::size_t equals = text.find('=');
    if (equals == text.npos)
        return;
    const TagField field = fieldOf(text.substr(0, equals));
    if (field != TagField::none)
        sink.set(field, decodeText(comment.subspan(equals + 1)));
}

/// Reads comment blocks, of all blocks together no more than FLAC::mostCommentBytes.
class CommentReader {
  public:
    CommentReader(const Reader& reader, AudioMeta& into) : reader_(reader), into_(into) {}

    void read(std::uint64_t at, std::size_t length) {
        const std::uint64_t held = std::min<std::uint64_t>(length, bytesFrom(at));
        const std::size_t count = std::min<std::size_t>(held, budget_);
        budget_ -= count;
        if (count == 0)
            return;
        FLAC::vorbisComments(reader_.read(at, scratch_.take(count)), into_);
    }

  private:
    [[nodiscard]] std::uint64_t bytesFrom(std::uint64_t at) const {
        return reader_.size() > at ? reader_.size() - at : 0;
    }

    const Reader& reader_;
    AudioMeta& into_;
    Scratch scratch_;
    std::size_t budget_ = FLAC::mostCommentBytes;
};

} // namespace

bool FLAC::parse(const Reader& reader, std::uint64_t at, AudioMeta& into) {
    constexpr std::uint8_t lastFlag = 0x80;
    BlockWindow window(reader);
    CommentReader comments(reader, into);
    bool hasStreamInfo = false;
    bool isLast = false;
    at += 4;
    for (int i = 0; i < mostBlocks && !isLast; ++i) {
        // The first block is the stream info: it comes along, and the header behind it.
        const std::size_t ahead = i == 0 ? streamInfoSize + blockHeaderSize : 0;
        const Bytes header = window.get(at, blockHeaderSize, ahead);
        if (header.size() < blockHeaderSize)
            break;
        isLast = (header[0] & lastFlag) != 0;
        const unsigned type = header[0] & ~lastFlag;
        const std::uint32_t length = u24be(header, 1);
        at += blockHeaderSize;
        if (type == streamInfoType && length >= streamInfoSize) {
            const Bytes info = window.get(at, streamInfoSize);
            if (info.size() < streamInfoSize)
                return false;
            takeStreamInfo(info, into);
            hasStreamInfo = true;
        } else if (type == commentType) {
            comments.read(at, length);
        }
        at += length;
    }
    if (into.durationMs != 0)
        into.bitrateKbps =
            meanKbps(reader.size() > at ? reader.size() - at : 0, into.durationMs / 1000.0);
    return hasStreamInfo;
}

void FLAC::vorbisComments(Bytes bytes, AudioMeta& into) {
    TagSink sink(into);
    Bytes rest = part(bytes, 4);
    rest = part(rest, u32le(bytes, 0));
    const std::uint32_t count = u32le(rest, 0);
    rest = part(rest, 4);
    for (std::uint32_t i = 0; i < count && i < mostComments && rest.size() >= 4; ++i) {
        const std::uint32_t length = u32le(rest, 0);
        if (length > rest.size() - 4)
            break;
        takeComment(part(rest, 4, length), sink);
        rest = part(rest, 4 + std::size_t{length});
    }
    sink.finish();
}

} // namespace quarrydex
