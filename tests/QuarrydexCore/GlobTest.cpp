#include "QuarrydexCore/search/Glob.h"

#include "tests/support/SlowSearch.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

TEST(GlobTest, MatchesTheWholeName) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    };

    const Case cases[] = {
        {"*.mp3", ".mp3", true},
        {"*.mp3", "song.mp3.bak", false},
        {"ab*ba", "aba", false},
        {"", "", true},
        {"?", "", false},
        {"?", "é", true},
        {"??", "é", false},
        {"?あ?", "aあ🎵", true},
        {"a?c",
         "a\xFF"
         "c",
         true},
        {"??", "\xE3\x81", true},
        {"?", "\xE3\x81", false},
        {"*\xA9", "é", true},
        {"*\x8E?", "🎵", false},
        {"[a]", "a", false},
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
        const bool expected = testing::SlowSearch::globs(pattern, name);
        matched += expected ? 1 : 0;
        ASSERT_EQ(globMatches(pattern, name), expected)
            << ::testing::PrintToString(pattern) << " on " << ::testing::PrintToString(name);
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
