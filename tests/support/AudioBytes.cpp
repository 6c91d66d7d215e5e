#include "tests/support/AudioBytes.h"

#include <bit>

namespace quarrydex::bytes {

namespace {

std::string filled(std::string_view text, std::size_t size) {
    std::string out(text);
    out.resize(size, '\0');
    return out;
}

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (std::string_view part : parts)
        out += part;
    return out;
}

} // namespace

std::string be(std::uint64_t value, std::size_t count) {
    std::string out(count, '\0');
    for (std::size_t i = count; i-- > 0; value >>= 8)
        out[i] = static_cast<char>(value & 0xFF);
    return out;
}

std::string le(std::uint64_t value, std::size_t count) {
    const std::string reversed = be(value, count);
    return {reversed.rbegin(), reversed.rend()};
}

std::string synchsafe(std::uint32_t value) {
    std::string out;
    for (unsigned shift : {21, 14, 7, 0})
        out += static_cast<char>(value >> shift & 0x7F);
    return out;
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

std::string utf16le(std::string_view text) {
    std::string out;
    for (char c : text)
        out += {c, '\0'};
    return out;
}

std::string utf16be(std::string_view text) {
    std::string out;
    for (char c : text)
        out += {'\0', c};
    return out;
}

std::string id3Frame(unsigned major, std::string_view id, std::string_view body) {
    const auto size = static_cast<std::uint32_t>(body.size());
    if (major == 2)
        return joined({id, be(size, 3), body});
    return joined({id, major == 4 ? synchsafe(size) : be(size, 4), zeros(2), body});
}

std::string id3Text(unsigned major, std::string_view id, std::string_view text) {
    return id3Frame(major, id, joined({zeros(1), text}));
}

std::string id3Tag(unsigned major, std::string_view frames, unsigned flags) {
    return joined({"ID3", be(major, 1), zeros(1), be(flags, 1),
                   synchsafe(static_cast<std::uint32_t>(frames.size())), frames});
}

std::string id3v1(const V1Tag& tag) {
    return joined({"TAG", filled(tag.title, 30), filled(tag.artist, 30), filled(tag.album, 30),
                   filled(tag.year, 4), zeros(30), be(tag.genre, 1)});
}

std::string MpegHeader::bytes() const {
    return be(0xFFE00000U | version << 19 | layer << 17 | 1U << 16 | bitrate << 12 | rate << 10 |
                  padding << 9 | mode << 6,
              4);
}

std::string
mpegFrame(const MpegHeader& header, std::size_t length, std::size_t at, std::string_view content) {
    std::string frame = filled(header.bytes(), length);
    return frame.replace(at, content.size(), content);
}

std::string mpegFrames(std::size_t count, const MpegHeader& header) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out += mpegFrame(header);
    return out;
}

std::string xing(std::string_view name, unsigned flags, std::string_view fields) {
    return joined({name, be(flags, 4), fields});
}

std::string vbri(std::uint32_t bytes, std::uint32_t frames) {
    return joined({"VBRI", zeros(6), be(bytes, 4), be(frames, 4)});
}

std::string streamInfo(const StreamInfo& info) {
    const std::uint64_t packed = std::uint64_t{info.rate} << 44 |
                                 std::uint64_t{info.channels - 1} << 41 |
                                 std::uint64_t{info.bits - 1} << 36 | info.samples;
    return joined({zeros(10), be(packed, 8), zeros(16)});
}

std::string flacBlock(unsigned type, std::string_view data, BlockOptions options) {
    return joined({be(type | (options.isLast ? 0x80U : 0U), 1), be(data.size(), 3), data});
}

std::string comments(const std::vector<std::string>& texts) {
    std::string out = joined({le(3, 4), "me!", le(texts.size(), 4)});
    for (const std::string& text : texts)
        out += le(text.size(), 4) + text;
    return out;
}

std::string chunkLE(std::string_view id, std::string_view data) {
    return joined({id, le(data.size(), 4), data, zeros(data.size() % 2)});
}

std::string chunkBE(std::string_view id, std::string_view data) {
    return joined({id, be(data.size(), 4), data, zeros(data.size() % 2)});
}

std::string wave(std::string_view chunks) {
    return joined({"RIFF", le(chunks.size() + 4, 4), "WAVE", chunks});
}

std::string aiff(std::string_view chunks, std::string_view type) {
    return joined({"FORM", be(chunks.size() + 4, 4), type, chunks});
}

std::string waveFormat(const WaveFormat& format, std::string_view more) {
    return chunkLE("fmt ", joined({le(format.tag, 2), le(format.channels, 2), le(format.rate, 4),
                                   le(format.byteRate, 4), zeros(2), le(format.bits, 2), more}));
}

std::string extended(unsigned exponent, std::uint64_t mantissa) {
    return be(exponent, 2) + be(mantissa, 8);
}

std::string extended(std::uint32_t value) {
    const auto shift = static_cast<unsigned>(std::countl_zero(std::uint64_t{value}));
    return extended(16383 + 63 - shift, std::uint64_t{value} << shift);
}

std::string common(const Common& common, std::string_view more) {
    return joined(
        {be(common.channels, 2), be(common.frames, 4), be(common.bits, 2), common.rate, more});
}

std::string atom(std::string_view type, std::string_view data) {
    return joined({be(data.size() + 8, 4), type, data});
}

std::string longAtom(std::string_view type, std::string_view data) {
    return joined({be(1, 4), type, be(data.size() + 16, 8), data});
}

std::string movieHeader(std::uint32_t timeScale, std::uint32_t duration) {
    return atom("mvhd", joined({zeros(12), be(timeScale, 4), be(duration, 4), zeros(80)}));
}

std::string sampleEntry(const SampleEntry& entry, std::string_view children) {
    return atom(entry.type, joined({zeros(16), be(entry.channels, 2), be(entry.bits, 2), zeros(4),
                                    be(entry.rate, 2), zeros(2), children}));
}

std::string track(std::string_view handler, std::string_view entry) {
    const std::string hdlr = atom("hdlr", joined({zeros(8), handler, zeros(13)}));
    const std::string stsd = atom("stsd", joined({zeros(4), be(1, 4), entry}));
    return atom("trak", atom("mdia", hdlr + atom("minf", atom("stbl", stsd))));
}

std::string descriptor(unsigned tag, std::string_view contents) {
    return joined({be(tag, 1), be(contents.size(), 1), contents});
}

std::string wideDescriptor(unsigned tag, std::string_view contents) {
    return joined({be(tag, 1), "\x80\x80\x80", be(contents.size(), 1), contents});
}

std::string esds(unsigned objectType, std::uint32_t bitrate) {
    const std::string config = joined({be(objectType, 1), zeros(8), be(bitrate, 4)});
    return atom("esds",
                joined({zeros(4), wideDescriptor(3, zeros(3) + wideDescriptor(4, config))}));
}

std::string item(std::string_view type, std::string_view value) {
    return atom(type, atom("data", joined({zeros(8), value})));
}

std::string namedItem(std::string_view name, std::string_view value) {
    return atom("----", joined({atom("mean", joined({zeros(4), "com.example"})),
                                atom("name", joined({zeros(4), name})),
                                atom("data", joined({zeros(8), value}))}));
}

std::string userData(std::string_view items) {
    return atom("udta",
                atom("meta", joined({zeros(4), atom("hdlr", zeros(25)), atom("ilst", items)})));
}

} // namespace quarrydex::bytes
