#include "QuarrydexAudio/dupes/SongKey.h"

#include "QuarrydexCore/text/Characters.h"
#include "QuarrydexCore/text/Fold.h"
#include "QuarrydexCore/text/Utf8.h"

#include <array>
#include <cstddef>

namespace quarrydex {

namespace {

bool isDigit(std::int32_t point) {
    return point >= 0 && utf8proc_category(point) == UTF8PROC_CATEGORY_ND;
}

bool isSpace(std::int32_t point) {
    if (point < 0)
        return false;
    if (point < 0x80)
        return point == ' ' || (point >= '\t' && point <= '\r');
    const utf8proc_category_t category = utf8proc_category(point);
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
           category == UTF8PROC_CATEGORY_ZP;
}

/// Letters, the marks written on them, digits and other numbers; and what is not UTF-8.
bool isPartOfWord(std::int32_t point) {
    if (point < 0)
        return true;
    if (point < 0x80)
        return (point >= 'a' && point <= 'z') || (point >= 'A' && point <= 'Z') ||
               (point >= '0' && point <= '9');
    const utf8proc_category_t category = utf8proc_category(point);
    return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_NO;
}

static_assert(UTF8PROC_CATEGORY_LU == 1 && UTF8PROC_CATEGORY_MN == 6 && UTF8PROC_CATEGORY_NO == 11,
              "letters, marks and numbers stand together");

/// Reads a text from the left.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : rest_(text) {}

    [[nodiscard]] std::string_view rest() const { return rest_; }

    [[nodiscard]] std::int32_t peek() const { return rest_.empty() ? -1 : point().value; }

    /// Skips what satisfies the predicate, at most `limit` code points. Returns how many.
    template <typename Predicate> std::size_t skip(Predicate is, std::size_t limit = npos) {
        std::size_t count = 0;
        for (; count < limit && !rest_.empty(); ++count) {
            const CodePoint next = point();
            if (!is(next.value))
                break;
            rest_.remove_prefix(next.byteCount);
        }
        return count;
    }

    bool skipText(std::string_view text) {
        if (!rest_.starts_with(text))
            return false;
        rest_.remove_prefix(text.size());
        return true;
    }

  private:
    static constexpr std::size_t npos = std::string_view::npos;

    [[nodiscard]] CodePoint point() const {
        return isAscii(rest_[0]) ? CodePoint{rest_[0], 1} : firstCodePoint(rest_);
    }

    std::string_view rest_;
};

/// [-_.)]
bool isTrackMark(std::int32_t point) {
    return point == '-' || point == '_' || point == '.' || point == ')';
}

/// [-_. ]
bool isDiscMark(std::int32_t point) {
    return point == '-' || point == '_' || point == '.' || point == ' ';
}

// --- Quality tags -------------------------------------------------------------------------------

bool namesQuality(std::string_view text) {
    static constexpr std::array<std::string_view, 15> words = {
        "kbps",     "kbit", "flac", "mp3", "wav", "aiff", "aac", "alac",
        "lossless", "320",  "256",  "192", "128", "vbr",  "cbr"};
    for (std::string_view word : words)
        if (text.find(word) != std::string_view::npos)
            return true;
    return false;
}

/// Removes each [\(\[] … [\)\]] whose inside names a quality. The inside ends at the first closing
/// bracket, and of several opening ones before it the first counts.
std::string withoutQualityTags(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t open = text.find_first_of("([");
        const std::size_t close =
            open == std::string_view::npos ? open : text.find_first_of(")]", open);
        if (close == std::string_view::npos)
            break;
        const bool isTag = namesQuality(text.substr(open + 1, close - open - 1));
        out += text.substr(0, isTag ? open : close + 1);
        text.remove_prefix(close + 1);
    }
    out += text;
    return out;
}

// --- Track numbers ------------------------------------------------------------------------------

/// ^\s*\d{1,2}-\d{1,3}(?=\s|[-_.)])\s*[-_.)]*\s*
std::string_view withoutDiscAndTrack(std::string_view text) {
    Cursor at(text);
    at.skip(isSpace);
    if (at.skip(isDigit, 2) == 0 || !at.skipText("-") || at.skip(isDigit, 3) == 0)
        return text;
    if (at.rest().empty() || !(isSpace(at.peek()) || isTrackMark(at.peek())))
        return text;
    at.skip(isSpace);
    at.skip(isTrackMark);
    at.skip(isSpace);
    return at.rest();
}

/// cd\s*\d+\s*[-_. ]+ at the cursor; false when it is something else.
bool skipDisc(Cursor& at) {
    if (!at.skipText("cd"))
        return false;
    at.skip(isSpace);
    if (at.skip(isDigit) == 0)
        return false;
    const std::string_view before = at.rest();
    const std::size_t spaces = at.skip(isSpace);
    const std::string_view after = at.rest();
    // The last of the spaces may stand for the separator.
    const bool endsInBlank =
        spaces > 0 && before.substr(0, before.size() - after.size()).back() == ' ';
    return at.skip(isDiscMark) > 0 || endsInBlank;
}

/// ^\s*(?:cd\s*\d+\s*[-_. ]+)?\d{1,3}\s*[-_.)]+\s*
std::string_view withoutTrack(std::string_view text) {
    Cursor at(text);
    at.skip(isSpace);
    if (at.peek() == 'c' && !skipDisc(at))
        return text;
    if (at.skip(isDigit, 3) == 0)
        return text;
    at.skip(isSpace);
    if (at.skip(isTrackMark) == 0)
        return text;
    at.skip(isSpace);
    return at.rest();
}

/// Words joined by single spaces.
std::string wordsOf(std::string_view text) {
    std::string out;
    const auto isBetweenWords = [](std::int32_t point) { return !isPartOfWord(point); };
    for (Cursor at(text);;) {
        at.skip(isBetweenWords);
        const std::string_view word = at.rest();
        if (word.empty())
            return out;
        at.skip(isPartOfWord);
        if (!out.empty())
            out += ' ';
        out += word.substr(0, word.size() - at.rest().size());
    }
}

} // namespace

std::string normalize(std::string_view text) {
    const std::string folded = withoutQualityTags(fold(text));
    return wordsOf(withoutTrack(withoutDiscAndTrack(folded)));
}

std::string_view withoutExtension(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot);
}

std::optional<std::string> songKey(std::string_view name, const AudioMeta* meta) {
    constexpr std::size_t leastTag = 2;
    constexpr std::size_t leastName = 8;
    if (meta != nullptr && !meta->artist.empty() && !meta->title.empty()) {
        const std::string artist = normalize(meta->artist);
        const std::string title = normalize(meta->title);
        if (characterCount(artist) >= leastTag && characterCount(title) >= leastTag)
            return artist + "|" + title;
    }
    const std::string_view stem = withoutExtension(name);
    if (stem.find(" - ") == std::string_view::npos)
        return std::nullopt;
    std::string key = normalize(stem);
    if (characterCount(key) < leastName)
        return std::nullopt;
    return "f|" + key;
}

} // namespace quarrydex
