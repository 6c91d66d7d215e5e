#include "QuarrydexAudio/tags/ID3.h"

#include "QuarrydexAudio/tags/Window.h"

#include <charconv>
#include <system_error>
#include <utility>

namespace quarrydex {

namespace {

/// How the frames of a tag are laid out.
struct Layout {
    unsigned major;

    [[nodiscard]] std::size_t headerSize() const { return major == 2 ? 6 : 10; }

    [[nodiscard]] FourCC id(Bytes header) const {
        return major == 2 ? u24be(header, 0) << 8 | ' ' : fourCC(header, 0);
    }

    [[nodiscard]] std::uint32_t size(Bytes header) const {
        if (major == 2)
            return u24be(header, 3);
        return sizeAt(header, 4);
    }

    /// Bytes from the tag's first frame to the first one behind an extended header.
    [[nodiscard]] std::uint64_t extendedHeader(Bytes bytes) const {
        return major == 4 ? sizeAt(bytes, 0) : std::uint64_t{sizeAt(bytes, 0)} + 4;
    }

  private:
    [[nodiscard]] std::uint32_t sizeAt(Bytes bytes, std::size_t at) const {
        return major == 4 ? ID3::synchsafe(bytes, at) : u32be(bytes, at);
    }
};

constexpr std::size_t longestHeader = 10;
using FrameWindow = Window<ID3::largestFrame + longestHeader>;

void storeFrame(FourCC id, Bytes body, TagSink& sink) {
    std::optional<std::string> text = ID3::frameText(body);
    if (!text)
        return;
    const TagField field = ID3::field(id);
    sink.set(field, field == TagField::genre ? ID3::genreName(*text) : std::move(*text));
}

void readFrames(
    FrameWindow& window, Layout layout, std::uint64_t at, std::uint64_t end, AudioMeta& into) {
    TagSink sink(into);
    const std::size_t headerSize = layout.headerSize();
    for (int i = 0; i < ID3::mostFrames && at + headerSize <= end; ++i) {
        const Bytes header = window.get(at, headerSize);
        if (header.size() < headerSize || header[0] == 0)
            break;
        const FourCC id = layout.id(header);
        const std::uint32_t size = layout.size(header);
        at += headerSize;
        if (size == 0 || size > end - at)
            break;
        if (size <= ID3::largestFrame && ID3::field(id) != TagField::none)
            storeFrame(id, window.get(at, size, end - at - size >= headerSize ? headerSize : 0),
                       sink);
        at += size;
    }
    sink.finish();
}

/// What a version 1 tag says; what it leaves open stays as it is.
void takeV1(Bytes tag, AudioMeta& into) {
    into.title = decodeText(part(tag, 3, 30));
    into.artist = decodeText(part(tag, 33, 30));
    if (std::string album = decodeText(part(tag, 63, 30)); !album.empty())
        into.album = std::move(album);
    if (const std::uint16_t year = yearOf(decodeText(part(tag, 93, 4))))
        into.year = year;
    if (const std::string_view genre = ID3::genre(tag[127]); !genre.empty())
        into.genre = genre;
}

/// "(17)Indie" as "17" and "Indie".
struct GenreParts {
    std::string_view number;
    std::string_view name;
};

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

GenreParts genreParts(std::string_view text) {
    const std::size_t close = text.find(')');
    if (text.starts_with('(') && close != text.npos && isNumber(text.substr(1, close - 1)))
        return {text.substr(1, close - 1), trimmedText(text.substr(close + 1))};
    return isNumber(text) ? GenreParts{text, {}} : GenreParts{{}, text};
}

} // namespace

const std::array<std::string_view, 80> ID3::genres = {{
#include "QuarrydexAudio/tags/Genres.inc"
}};

std::string_view ID3::genre(std::size_t number) {
    return number < genres.size() ? genres[number] : std::string_view();
}

std::uint32_t ID3::synchsafe(Bytes bytes, std::size_t at) {
    const std::uint32_t value = u32be(bytes, at);
    return (value >> 24 & 0x7F) << 21 | (value >> 16 & 0x7F) << 14 | (value >> 8 & 0x7F) << 7 |
           (value & 0x7F);
}

std::uint64_t ID3::tagEnd(const Reader& reader, std::uint64_t at) {
    std::array<std::uint8_t, headerSize> buffer;
    return tagEnd(reader.read(at, buffer), at);
}

std::uint64_t ID3::tagEnd(Bytes header, std::uint64_t at) {
    constexpr std::uint8_t footerFlag = 0x10;
    if (header.size() < headerSize || !beginsWith(header, "ID3") ||
        (u32be(header, 6) & 0x80808080U) != 0)
        return at;
    const bool hasFooter = header[3] == 4 && (header[5] & footerFlag) != 0;
    return at + headerSize + synchsafe(header, 6) + (hasFooter ? headerSize : 0);
}

std::optional<std::string> ID3::frameText(Bytes body) {
    if (body.empty())
        return std::nullopt;
    const std::uint8_t encoding = body[0];
    if (encoding != 1 && encoding != 2) {
        Bytes text = body.subspan(1);
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] == 0)
                text = text.first(i);
        return decodeText(text);
    }
    const std::uint16_t mark = u16be(body, 1);
    const bool hasMark = mark == 0xFEFF || mark == 0xFFFE;
    const bool isBig = hasMark ? mark == 0xFEFF : encoding == 2;
    Bytes text = part(body, hasMark ? 3 : 1);
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        if (text[i] == 0 && text[i + 1] == 0)
            text = text.first(i);
    return decodeText(text, isBig ? Utf16Order::big : Utf16Order::little);
}

TagField ID3::field(FourCC id) {
    switch (id) {
    case code("TPE1"):
    case code("TP1 "):
        return TagField::artist;
    case code("TPE2"):
    case code("TP2 "):
        return TagField::albumArtist;
    case code("TIT2"):
    case code("TT2 "):
        return TagField::title;
    case code("TALB"):
    case code("TAL "):
        return TagField::album;
    case code("TCON"):
    case code("TCO "):
        return TagField::genre;
    case code("TYER"):
    case code("TYE "):
    case code("TDRC"):
    case code("TDRL"):
    case code("TDOR"):
        return TagField::year;
    case code("TBPM"):
    case code("TBP "):
        return TagField::tempo;
    case code("TKEY"):
    case code("TKE "):
        return TagField::key;
    default:
        return TagField::none;
    }
}

std::string ID3::genreName(std::string_view text) {
    text = trimmedText(text);
    const auto [number, name] = genreParts(text);
    if (!name.empty())
        return std::string(name);
    std::size_t value{};
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    const std::string_view known = error == std::errc() ? genre(value) : std::string_view();
    return std::string(known.empty() ? text : known);
}

std::uint64_t ID3::parse(const Reader& reader, std::uint64_t at, AudioMeta& into) {
    constexpr std::uint8_t extendedFlag = 0x40;
    FrameWindow window(reader);
    const Bytes header = window.get(at, headerSize, longestHeader);
    const std::uint64_t end = tagEnd(header, at);
    if (end == at)
        return at;
    const Layout layout{header[3]};
    std::uint64_t frames = at + headerSize;
    if (layout.major >= 3 && (header[5] & extendedFlag) != 0)
        frames += layout.extendedHeader(window.get(frames, 4));
    readFrames(window, layout, frames, end, into);
    return end;
}

std::uint64_t ID3::parseV1(const Reader& reader, AudioMeta& into) {
    if (reader.size() <= v1Size)
        return reader.size();
    const std::uint64_t at = reader.size() - v1Size;
    std::array<std::uint8_t, v1Size> buffer;
    const Bytes tag = reader.read(at, buffer);
    if (tag.size() < v1Size || !beginsWith(tag, "TAG"))
        return reader.size();
    if (into.title.empty() && into.artist.empty())
        takeV1(tag, into);
    return at;
}

} // namespace quarrydex
