#include "QuarrydexCore/text/Fold.h"

#include "QuarrydexCore/text/Utf8.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <cstring>
#include <vector>

namespace quarrydex {

namespace {

using Property = utf8proc_property_t;

/// Room for what one code point can become; the longest canonical decomposition has 4.
using Expansion = std::array<std::int32_t, 16>;

/// Told by canonical combining class, which groups marks by what they do: 1 overlays, 7 nuktas,
/// 10–36 Hebrew, Arabic and Syriac points, from 200 on everything that is placed around a letter of
/// any script. Between them lie kana voicing (8), viramas (9) and South-East Asian vowels and tones
/// (84–132); the vowel signs of most scripts are class 0.
bool isDiacritic(const Property& property) {
    const int group = property.combining_class;
    if (group == 0)
        return property.category == UTF8PROC_CATEGORY_ME ||
               (property.category == UTF8PROC_CATEGORY_MN && property.ignorable);
    return group == 1 || group == 7 || (group >= 10 && group <= 36) || group >= 200;
}

bool foldsToItself(const Property& property) {
    constexpr std::uint16_t itself = 0xFFFF;
    const bool decomposes = property.decomp_seqindex != itself && property.decomp_type == 0;
    return !decomposes && property.casefold_seqindex == itself;
}

std::size_t expand(std::int32_t value, int options, Expansion& out) {
    const auto count =
        utf8proc_decompose_char(value, out.data(), static_cast<utf8proc_ssize_t>(out.size()),
                                static_cast<utf8proc_option_t>(options), nullptr);
    return count < 0 ? 0 : std::min(static_cast<std::size_t>(count), out.size());
}

/// Calls emit(value, property) for what a code point becomes before composition.
template <typename Emit>
void foldCodePoint(std::int32_t value, const Property& property, Emit&& emit) {
    if (isDiacritic(property))
        return;
    if (foldsToItself(property)) {
        emit(value, property);
        return;
    }
    Expansion parts;
    Expansion folded;
    const std::size_t partCount = expand(value, UTF8PROC_DECOMPOSE, parts);
    for (std::size_t i = 0; i < partCount; ++i) {
        if (isDiacritic(*utf8proc_get_property(parts[i])))
            continue;
        const std::size_t count = expand(parts[i], UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD, folded);
        for (std::size_t j = 0; j < count; ++j) {
            const Property& foldedProperty = *utf8proc_get_property(folded[j]);
            if (!isDiacritic(foldedProperty))
                emit(folded[j], foldedProperty);
        }
    }
}

std::size_t compose(std::int32_t* points, std::size_t count) {
    const auto composed = utf8proc_normalize_utf32(
        points, static_cast<utf8proc_ssize_t>(count),
        static_cast<utf8proc_option_t>(UTF8PROC_COMPOSE | UTF8PROC_STABLE));
    return composed < 0 ? count : static_cast<std::size_t>(composed);
}

/// The answers for most alphabets, worked out once, so that their letters cost one look-up.
class LetterTable {
  public:
    static constexpr std::uint16_t none = 0; ///< no answer: take the long way

    LetterTable() {
        for (std::size_t i = 0; i < size; ++i)
            learnJoiners(static_cast<std::int32_t>(i));
        for (std::size_t i = 0; i < size; ++i)
            folded_[i] = singleFold(static_cast<std::int32_t>(i));
    }

    /// What a code point folds to where that is a single one, composed, which stays apart from
    /// whatever stands before it.
    [[nodiscard]] std::uint16_t fold(std::int32_t value) const {
        const auto at = static_cast<std::size_t>(value);
        return at < size ? folded_[at] : none;
    }

    /// True for what may compose with a code point before it. Such pairs never lie on both sides of
    /// the table's end, but for marks that are removed.
    [[nodiscard]] bool joins(std::int32_t value, const Property& property) const {
        const bool isConjoiningJamo = value >= 0x1161 && value <= 0x11FF;
        const auto at = static_cast<std::size_t>(value);
        if (at < size)
            return joiners_[at] || isConjoiningJamo;
        return property.combining_class != 0 || property.category == UTF8PROC_CATEGORY_MN ||
               property.category == UTF8PROC_CATEGORY_MC;
    }

  private:
    static constexpr std::size_t size = 0x3100; ///< up to and with the kana

    void learnJoiners(std::int32_t value) {
        Expansion parts;
        const std::size_t count = expand(value, UTF8PROC_DECOMPOSE, parts);
        for (std::size_t i = 1; i < count; ++i)
            if (static_cast<std::size_t>(parts[i]) < size)
                joiners_.set(static_cast<std::size_t>(parts[i]));
    }

    [[nodiscard]] std::uint16_t singleFold(std::int32_t value) const {
        Expansion points;
        std::size_t count = 0;
        bool mayMove = false;
        foldCodePoint(value, *utf8proc_get_property(value), [&](std::int32_t part, auto& property) {
            mayMove =
                mayMove || (count == 0 && (property.combining_class != 0 || joins(part, property)));
            points[count++] = part;
        });
        if (count == 0 || mayMove || compose(points.data(), count) != 1 || points[0] > 0xFFFF)
            return none;
        return static_cast<std::uint16_t>(points[0]);
    }

    std::array<std::uint16_t, size> folded_;
    std::bitset<size> joiners_;
};

const LetterTable& letterTable() {
    static const LetterTable table;
    return table;
}

/// The folded code points since the last ASCII or broken byte: nothing joins across those.
class Run {
  public:
    /// Adds what the table answered.
    void addLetter(std::int32_t value) {
        points_.push_back(value);
        lastGroup_ = 0;
    }

    void add(std::int32_t value, const Property& property) {
        const int group = property.combining_class;
        const bool isOutOfOrder = group != 0 && group < lastGroup_;
        mustCompose_ = mustCompose_ || isOutOfOrder || letterTable().joins(value, property);
        points_.push_back(value);
        lastGroup_ = group;
    }

    void flushTo(std::string& out) {
        if (points_.empty())
            return;
        if (mustCompose_) {
            putMarksInOrder();
            points_.resize(compose(points_.data(), points_.size()));
        }
        const std::size_t start = out.size();
        out.resize(start + points_.size() * 4);
        auto* end = reinterpret_cast<utf8proc_uint8_t*>(out.data() + start);
        for (std::int32_t value : points_)
            end += utf8proc_encode_char(value, end);
        out.resize(static_cast<std::size_t>(reinterpret_cast<char*>(end) - out.data()));
        points_.clear();
        lastGroup_ = 0;
        mustCompose_ = false;
    }

  private:
    /// Canonical ordering: marks between two starters by ascending class, equal classes as they
    /// are.
    void putMarksInOrder() {
        const auto group = [](std::int32_t value) {
            return utf8proc_get_property(value)->combining_class;
        };
        const auto isStarter = [&](std::int32_t value) { return group(value) == 0; };
        const auto before = [&](std::int32_t a, std::int32_t b) { return group(a) < group(b); };
        for (auto first = points_.begin(); first != points_.end();) {
            first = std::find_if_not(first, points_.end(), isStarter);
            const auto last = std::find_if(first, points_.end(), isStarter);
            if (!std::is_sorted(first, last, before))
                std::stable_sort(first, last, before);
            first = last;
        }
    }

    std::vector<std::int32_t> points_;
    int lastGroup_ = 0; ///< combining class of the last one
    bool mustCompose_ = false;
};

/// Appends the ASCII bytes with which the text begins, A–Z as a–z, and takes them off the text.
void appendAscii(std::string_view& text, std::string& out) {
    const auto end = std::find_if_not(text.begin(), text.end(), isAscii);
    const auto count = static_cast<std::size_t>(end - text.begin());
    const std::size_t start = out.size();
    out.append(text.data(), count);
    for (std::size_t i = start; i < out.size(); ++i)
        if (out[i] >= 'A' && out[i] <= 'Z')
            out[i] = static_cast<char>(out[i] + ('a' - 'A'));
    text.remove_prefix(count);
}

void appendFolded(std::string_view text, std::string& out) {
    const LetterTable& letters = letterTable();
    thread_local Run run;
    bool afterBroken = false; // a byte that is no UTF-8 stands before, or before marks kept for it
    while (!text.empty()) {
        if (isAscii(text.front())) {
            run.flushTo(out);
            appendAscii(text, out);
            afterBroken = false;
            continue;
        }
        const CodePoint point = firstCodePoint(text);
        if (!point.isValid()) {
            run.flushTo(out);
            out.push_back(text.front());
            afterBroken = true;
        } else if (const std::uint16_t letter = letters.fold(point.value);
                   letter != LetterTable::none) {
            run.addLetter(letter);
            afterBroken = false;
        } else {
            const Property& property = *utf8proc_get_property(point.value);
            afterBroken = afterBroken && isDiacritic(property);
            // A mark between broken bytes stays: without it they could join to a character.
            if (afterBroken)
                out += text.substr(0, point.byteCount);
            else
                foldCodePoint(point.value, property,
                              [&](std::int32_t part, const Property& its) { run.add(part, its); });
        }
        text.remove_prefix(point.byteCount);
    }
    run.flushTo(out);
}

} // namespace

std::string_view foldUnicodeVersion() {
    return utf8proc_unicode_version();
}

std::string fold(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    appendFolded(text, out);
    return out;
}

void foldName(const char* name, std::size_t n, char* out) {
    thread_local std::string folded;
    folded.clear();
    appendFolded({name, n}, folded);
    const std::size_t kept = std::min(n, folded.size());
    std::memcpy(out, folded.data(), kept);
    std::memset(out + kept, foldFiller, n - kept);
}

} // namespace quarrydex
