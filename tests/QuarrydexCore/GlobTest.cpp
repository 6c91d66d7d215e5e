#include "QuarrydexCore/search/Glob.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

/// The characters of a name, each with its bytes; an independent reading of the rule.
std::vector<std::string> characters(const std::string& name) {
    std::vector<std::string> out;
    for (std::size_t at = 0; at < name.size();) {
        const auto lead = static_cast<unsigned char>(name[at]);
        std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t value = lead & (length == 1 ? 0x7FU : 0xFFU >> (length + 1));
        bool valid = (lead < 0x80 || lead >= 0xC0) && lead < 0xF8 && at + length <= name.size();
        for (std::size_t i = 1; valid && i < length; ++i) {
            const auto next = static_cast<unsigned char>(name[at + i]);
            valid = next >= 0x80 && next < 0xC0;
            value = value << 6 | (next & 0x3FU);
        }
        constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
        valid = valid && value >= least[length] && value <= 0x10FFFF &&
                (value < 0xD800 || value > 0xDFFF);
        length = valid ? length : 1;
        out.push_back(name.substr(at, length));
        at += length;
    }
    return out;
}

/// The matcher that anyone would write first: * takes whole bytes, ? a whole character.
bool obviousMatch(std::string_view pattern,
                  const std::string& name,
                  std::size_t at,
                  const std::vector<std::size_t>& lengths) {
    if (pattern.empty())
        return at == name.size();
    const std::string_view rest = pattern.substr(1);
    if (pattern.front() == '*') {
        for (std::size_t to = at; to <= name.size(); ++to)
            if (obviousMatch(rest, name, to, lengths))
                return true;
        return false;
    }
    if (at == name.size())
        return false;
    if (pattern.front() == '?')
        return lengths[at] != 0 && obviousMatch(rest, name, at + lengths[at], lengths);
    return name[at] == pattern.front() && obviousMatch(rest, name, at + 1, lengths);
}

bool obviousMatch(std::string_view pattern, const std::string& name) {
    std::vector<std::size_t> lengths; // of the character that begins at a byte, 0 inside one
    for (const std::string& character : characters(name)) {
        lengths.push_back(character.size());
        lengths.resize(lengths.size() + character.size() - 1, 0);
    }
    return obviousMatch(pattern, name, 0, lengths);
}

TEST(GlobTest, MatchesTheWholeName) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    };

    const Case cases[] = {
        {"*.mp3", "song.mp3", true},
        {"*.mp3", "song.mp3.bak", false},
        {"*.mp3", ".mp3", true},
        {"*.mp3", "mp3", false},
        {"img_*", "img_1.jpg", true},
        {"img_*", "my_img_1.jpg", false},
        {"*live*", "a live b", true},
        {"*live*", "alie", false},
        {"ab*ba", "aba", false},
        {"ab*ba", "abba", true},
        {"a*b*c", "a-b-b-c", true},
        {"a*b*c", "a-c-b", false},
        {"*a*b", "ba", false},
        {"readme", "readme", true},
        {"readme", "readme.md", false},
        {"", "", true},
        {"", "a", false},
        {"*", "", true},
        {"**", "anything", true},
        {"?", "", false},
        {"?", "a", true},
        {"?", "ab", false},
        {"?", "é", true},
        {"??", "é", false},
        {"*??", "あ", false},
        {"??*", "あ", false},
        {"?あ?", "aあ🎵", true},
        {"a?c",
         "a\xFF"
         "c",
         true},
        {"??", "\xE3\x81", true},
        {"?", "\xE3\x81", false},
        {"*?.flac", "é.flac", true},
        {"*\xA9", "é", true},
        {"*\x8E?", "🎵", false},
        {"[a]", "a", false},
        {"[a]", "[a]", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(globMatches(c.pattern, c.name), c.matches) << c.pattern << " on " << c.name;
}

TEST(GlobTest, AgreesWithTheObviousMatcher) {
    std::mt19937 random(20);
    const std::string patternBytes = "ab**??\xC3\xA9\x81";
    const std::vector<std::string> nameParts = {"a",    "b",    "é",        "あ",       "🎵",
                                                "\xC3", "\x81", "\xE3\x81", "\xED\xA0", "\xF4\x90"};
    int matched = 0;
    for (int round = 0; round < 60'000; ++round) {
        std::string pattern;
        for (auto n = random() % 7; n > 0; --n)
            pattern += patternBytes[random() % patternBytes.size()];
        std::string name;
        for (auto n = random() % 6; n > 0; --n)
            name += nameParts[random() % nameParts.size()];
        const bool expected = obviousMatch(pattern, name);
        matched += expected ? 1 : 0;
        ASSERT_EQ(globMatches(pattern, name), expected)
            << testing::PrintToString(pattern) << " on " << testing::PrintToString(name);
    }
    EXPECT_GT(matched, 5'000);
}

TEST(GlobTest, ManyStarsDoNotMultiplyTheWork) {
    std::string pattern;
    for (int i = 0; i < 2'000; ++i)
        pattern += "*a?";
    EXPECT_FALSE(globMatches(pattern + "b", std::string(10'000, 'a')));
    EXPECT_TRUE(globMatches(pattern + "*", std::string(4'000, 'a')));
    EXPECT_FALSE(globMatches(pattern + "*", std::string(3'999, 'a')));
}

TEST(GlobTest, LiteralRunIsTheLongestAndFirst) {
    const std::pair<const char*, const char*> cases[] = {
        {"*.mp3", ".mp3"}, {"abc*def", "abc"}, {"ab?cdef*gh", "cdef"}, {"plain", "plain"},
        {"*?*", ""},       {"", ""},           {"*a*bc", "bc"},        {"a**b", "a"},
    };
    for (const auto& [pattern, run] : cases)
        EXPECT_EQ(literalRun(pattern), run) << pattern;
}

} // namespace
} // namespace quarrydex
