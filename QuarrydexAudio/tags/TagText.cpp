#include "QuarrydexAudio/tags/TagText.h"

#include "QuarrydexCore/text/Utf8.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace quarrydex {

namespace {

bool isSpace(std::int32_t point) {
    if (point < 0x80)
        return point == ' ' || (point >= '\t' && point <= '\r');
    if (point == 0x85)
        return true;
    const utf8proc_category_t category = utf8proc_category(point);
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
           category == UTF8PROC_CATEGORY_ZP;
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// Offset of the code point with which the text ends. REQUIRES: not empty.
std::size_t lastCodePointAt(std::string_view text) {
    std::size_t at = text.size() - 1;
    while (at > 0 && isContinuation(text[at]))
        --at;
    return at;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        if (isAscii(text.front())) {
            text.remove_prefix(1);
            continue;
        }
        const CodePoint point = firstCodePoint(text);
        if (!point.isValid())
            return false;
        text.remove_prefix(point.byteCount);
    }
    return true;
}

std::string fromLatin1(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (char c : bytes)
        appendCodePoint(out, static_cast<unsigned char>(c));
    return out;
}

/// Ends at the first NUL, and the white space around it is gone.
std::string tidied(std::string_view text) {
    return std::string(trimmedText(text.substr(0, text.find('\0'))));
}

bool isHighSurrogate(std::int32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(std::int32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

std::string_view trimmedText(std::string_view text) {
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (!first.isValid() || !isSpace(first.value))
            break;
        text.remove_prefix(first.byteCount);
    }
    while (!text.empty()) {
        const std::size_t at = lastCodePointAt(text);
        const CodePoint last = firstCodePoint(text.substr(at));
        if (!last.isValid() || at + last.byteCount != text.size() || !isSpace(last.value))
            break;
        text = text.substr(0, at);
    }
    return text;
}

std::string shortenedText(std::string_view text, std::size_t bytes) {
    if (text.size() > bytes) {
        while (bytes > 0 && isContinuation(text[bytes]))
            --bytes;
        text = text.substr(0, bytes);
    }
    return std::string(trimmedText(text));
}

std::string decodeText(Bytes bytes) {
    std::string_view text = charsOf(bytes);
    while (!text.empty() && text.back() == '\0')
        text.remove_suffix(1);
    return isUtf8(text) ? tidied(text) : tidied(fromLatin1(text));
}

std::string decodeText(Bytes bytes, Utf16Order order) {
    while (bytes.size() >= 2 && bytes[bytes.size() - 2] == 0 && bytes.back() == 0)
        bytes = bytes.first(bytes.size() - 2);
    if (bytes.size() % 2 != 0)
        return {};
    const auto unitAt = [&](std::size_t at) -> std::int32_t {
        return order == Utf16Order::little ? u16le(bytes, at) : u16be(bytes, at);
    };
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        std::int32_t point = unitAt(at);
        if (isHighSurrogate(point)) {
            const std::int32_t low = unitAt(at + 2);
            if (!isLowSurrogate(low))
                return {};
            point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
            at += 2;
        } else if (isLowSurrogate(point)) {
            return {};
        }
        appendCodePoint(out, point);
    }
    return tidied(out);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lowerAscii, lowerAscii);
}

std::uint16_t yearOf(std::string_view text) {
    if (text.size() < 4)
        return 0;
    unsigned year = 0;
    for (char c : text.substr(0, 4)) {
        if (c < '0' || c > '9')
            return 0;
        year = year * 10 + static_cast<unsigned>(c - '0');
    }
    return year > 999 ? static_cast<std::uint16_t>(year) : std::uint16_t{0};
}

std::uint16_t tempo10Of(std::string_view text) {
    std::string number(trimmedText(text));
    std::replace(number.begin(), number.end(), ',', '.');
    double tempo{};
    const char* const end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, tempo, std::chars_format::fixed);
    const bool isTempo = error == std::errc() && stop == end && tempo > 0 && tempo < 600;
    return isTempo ? static_cast<std::uint16_t>(std::lround(tempo * 10)) : std::uint16_t{0};
}

void TagSink::set(TagField field, std::string text) {
    switch (field) {
    case TagField::none:
        break;
    case TagField::artist:
        if (into_.artist.empty())
            into_.artist = std::move(text);
        break;
    case TagField::albumArtist:
        if (albumArtist_.empty())
            albumArtist_ = std::move(text);
        break;
    case TagField::title:
        into_.title = std::move(text);
        break;
    case TagField::album:
        into_.album = std::move(text);
        break;
    case TagField::genre:
        into_.genre = std::move(text);
        break;
    case TagField::year:
        into_.year = yearOf(text);
        break;
    case TagField::tempo:
        into_.bpm10 = tempo10Of(text);
        break;
    case TagField::key:
        into_.key = std::move(text);
        break;
    }
}

void TagSink::finish() {
    if (into_.artist.empty())
        into_.artist = std::move(albumArtist_);
}

} // namespace quarrydex
