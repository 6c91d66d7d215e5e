#include "QuarrydexCore/text/Fold.h"

#include "QuarrydexCore/text/Utf8.h"

#include <cstdlib>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace quarrydex;

namespace {

std::string utf8(std::int32_t value) {
    std::string out;
    appendCodePoint(out, value);
    return out;
}

std::string mapped(const std::string& text, int options) {
    utf8proc_uint8_t* out = nullptr;
    const auto size = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()), &out,
                                   static_cast<utf8proc_option_t>(options));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(out, &std::free);
    EXPECT_GE(size, 0);
    return {reinterpret_cast<char*>(out), static_cast<std::size_t>(size)};
}

std::string withoutDiacritics(const std::string& text) {
    std::string out;
    for (std::string_view rest = text; !rest.empty();) {
        const CodePoint point = firstCodePoint(rest);
        const auto* property = utf8proc_get_property(point.value);
        const int group = property->combining_class;
        const bool isInvisibleMark = utf8proc_category(point.value) == UTF8PROC_CATEGORY_MN &&
                                     property->ignorable && group == 0;
        const bool isEnclosing = utf8proc_category(point.value) == UTF8PROC_CATEGORY_ME;
        static const std::set<int> spelling = {0,   6,   8,   9,   84,  91, 103,
                                               107, 118, 122, 129, 130, 132};
        if (!isInvisibleMark && !isEnclosing && spelling.contains(group))
            out += utf8(point.value);
        rest.remove_prefix(point.byteCount);
    }
    return out;
}

/// The steps as they are described, each over the whole text.
std::string slowFold(const std::string& text) {
    const std::string bare = withoutDiacritics(mapped(text, UTF8PROC_DECOMPOSE));
    const std::string folded = mapped(bare, UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD);
    return mapped(withoutDiacritics(folded), UTF8PROC_COMPOSE | UTF8PROC_STABLE);
}

/// All that have a meaning; the others fold to themselves.
std::vector<std::int32_t> allCodePoints() {
    std::vector<std::int32_t> out;
    for (std::int32_t value = 0; value <= 0x10FFFF; ++value)
        if (utf8proc_category(value) != UTF8PROC_CATEGORY_CN &&
            utf8proc_category(value) != UTF8PROC_CATEGORY_CO && utf8proc_codepoint_valid(value))
            out.push_back(value);
    return out;
}

/// Texts rich in what decomposes, joins, is removed or changes case.
class TextSource {
  public:
    TextSource() {
        for (std::int32_t value : allCodePoints()) {
            const auto category = utf8proc_category(value);
            const bool isMark =
                category >= UTF8PROC_CATEGORY_MN && category <= UTF8PROC_CATEGORY_ME;
            const bool isJamo = value >= 0x1100 && value < 0x1200;
            if (isMark || isJamo || fold(utf8(value)) != utf8(value))
                lively_.push_back(value);
        }
    }

    std::string next() {
        std::string out;
        for (auto left = random_() % 9 + 1; left > 0; --left)
            out += random_() % 4 == 0 ? utf8(static_cast<std::int32_t>(random_() % 0xD800))
                                      : utf8(lively_[random_() % lively_.size()]);
        return out;
    }

    /// The same with bytes lost, doubled or changed.
    std::string nextBroken() {
        std::string out = next();
        for (auto left = random_() % 4 + 1; left > 0 && !out.empty(); --left) {
            const std::size_t at = random_() % out.size();
            switch (random_() % 3) {
            case 0:
                out.erase(at, 1);
                break;
            case 1:
                out.insert(at, 1, out[at]);
                break;
            default:
                out[at] = static_cast<char>(random_());
            }
        }
        return out;
    }

  private:
    std::mt19937 random_{20240229};
    std::vector<std::int32_t> lively_;
};

std::string foldedName(std::string_view name) {
    std::string out(name.size() + 2, '#');
    foldName(name.data(), name.size(), out.data() + 1);
    EXPECT_EQ(out.front(), '#');
    EXPECT_EQ(out.back(), '#');
    return out.substr(1, name.size());
}

} // namespace

TEST(FoldTest, FoldsCaseAndDiacriticsOfEveryScriptAlike) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"README.md", "readme.md"},
        {"Café.txt", "cafe.txt"},
        {"Cafe\u0301.txt", "cafe.txt"},
        {"Straße STRAẞE", "strasse strasse"},
        {"ΣΊΣΥΦΟΣ σίσυφος", "σισυφοσ σισυφοσ"},
        {"ᾳ Α\u0345", "α α"},
        {"İI ıi", "ii ıi"},
        {"ﬁn ﬃ", "fin ffi"},
        {"Æ Ø đ", "æ ø đ"},
        {"a\u0338 ≠", "a ="},
        {"שָׁלוֹם", "שלום"},
        {"أَحْمَد", "احمد"},
        {"1\uFE0F\u20E3 ❤\uFE0F", "1 ❤"},
        {"\u0301", ""},
        // Marks that spell the word stay.
        {"がハバパ か\u3099", "がハバパ が"},
        {"फ़िल्म", "फिल्म"},
        {"ภาษาไทยที่นี่", "ภาษาไทยที่นี่"},
        {"\u1112\u1161\u11AB", "한"},
        {"ก\u0E48\u0E38", "ก\u0E38\u0E48"}, // a tone typed before its vowel
        // Bytes that are no UTF-8.
        {"\xFF"
         "ABC\xC3",
         "\xFF"
         "abc\xC3"},
        {"\xC3\xA9\xC3É", "e\xC3"
                          "e"},
        {"\xED\xA0\x80Ä", "\xED\xA0\x80"
                          "a"},
        {std::string("A\0Ä", 4), std::string("a\0a", 3)},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(fold(text), expected) << text;
}

TEST(FoldTest, EveryCodePointFoldsByTheStepsAndOnlyOnce) {
    for (std::int32_t value : allCodePoints()) {
        const std::string folded = fold(utf8(value));
        ASSERT_EQ(folded, slowFold(utf8(value))) << std::hex << value;
        ASSERT_EQ(fold(folded), folded) << std::hex << value;
    }
}

TEST(FoldTest, TextsFoldByTheStepsAndCanonicallyEquivalentOnesAlike) {
    TextSource source;
    for (int i = 0; i < 20000; ++i) {
        const std::string text = source.next();
        const std::string folded = fold(text);
        ASSERT_EQ(folded, slowFold(text)) << text;
        ASSERT_EQ(fold(mapped(text, UTF8PROC_DECOMPOSE)), folded) << text;
        ASSERT_EQ(fold(mapped(text, UTF8PROC_COMPOSE | UTF8PROC_STABLE)), folded) << text;
    }
}

TEST(FoldTest, FoldingTwiceIsFoldingOnceAlsoForBrokenText) {
    // Taken away, the mark would leave E1 BA 9E behind, which is a letter.
    const std::string split = "\xE1\u0301\xBA\x9E";
    EXPECT_EQ(fold(split), split);
    const std::string outOfOrder = "\xE5\uA69F\u0F80";
    EXPECT_EQ(fold(outOfOrder), outOfOrder);
    TextSource source;
    for (int i = 0; i < 20000; ++i) {
        const std::string text = source.nextBroken();
        const std::string folded = fold(text);
        ASSERT_EQ(fold(folded), folded) << testing::PrintToString(text);
        ASSERT_EQ(fold(text + "/X" + text), folded + "/x" + folded) << testing::PrintToString(text);
    }
}

TEST(FoldTest, NamesKeepTheirLengthByFillerOrCut) {
    EXPECT_EQ(foldedName("Café.txt"), "cafe.txt\x01");
    EXPECT_EQ(foldedName("ÄÖÜ"), "aou\x01\x01\x01");
    EXPECT_EQ(foldedName("\u0301"), "\x01\x01");
    EXPECT_EQ(foldedName("ȺB.TXT"), "ⱥb.tx");
    EXPECT_EQ(foldedName("xȺ"), std::string("x\xE2\xB1"));
    EXPECT_EQ(foldedName(""), "");
    std::string longName;
    for (int i = 0; i < 20000; ++i)
        longName += "É한";
    EXPECT_EQ(withoutFiller(foldedName(longName)), fold(longName));
}

TEST(FoldTest, FillerEndsWhereTheNameEnds) {
    EXPECT_EQ(withoutFiller("cafe.txt\x01"), "cafe.txt");
    EXPECT_EQ(withoutFiller("\x01\x01"), "");
    EXPECT_EQ(withoutFiller("a\x01"
                            "b"),
              "a\x01"
              "b");
}
