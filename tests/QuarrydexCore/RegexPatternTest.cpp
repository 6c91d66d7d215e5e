#include "QuarrydexCore/search/RegexPattern.h"

#include "tests/support/PosixRegex.h"

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <locale.h>

namespace quarrydex {
namespace {

std::string repeated(std::string_view text, std::size_t times) {
    std::string out;
    while (times-- > 0)
        out += text;
    return out;
}

std::string asciiLower(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

TEST(RegexPatternTest, MatchesSomewhereInTheName) {
    struct Case {
        const char* pattern;
        const char* name;
        bool caseSensitive;
        bool matches;
    };

    const Case cases[] = {
        {"^img_[0-9]+", "IMG_12.jpg", false, true},
        {"\\.(mp3|flac)$", "song.FLAC", false, true},
        {"(a)\\1", "aa", false, false}, // a back-reference is refused
        {"a.b",
         "a\xFF"
         "b",
         true, true},
        {"^....$", "éé", true, true}, // bytes, not characters
        {"É", "é", false, false},     // only ASCII case is ignored
        {".*", "", true, true},
        {".*+b", "ab", true, true},
    };
    for (const Case& c : cases) {
        RegexPattern pattern(c.pattern, {.caseSensitive = c.caseSensitive});
        EXPECT_EQ(pattern.matches(c.name), c.matches) << c.pattern << " on " << c.name;
    }
}

TEST(RegexPatternTest, InvalidPatternsMatchNothing) {
    const std::string_view patterns[] = {"(",    "a)(",   "[a",     "[[:digit:]", "a{2",  "a{2,1}",
                                         "*a",   "a|*b",  "a\\",    "[[:none:]]", "a{x}", "+",
                                         "(?a)", "a{,}{", "(a)\\1", "a{40000}"};
    for (const std::string_view text : patterns) {
        RegexPattern pattern(text, {});
        EXPECT_FALSE(pattern.isValid()) << text;
        EXPECT_FALSE(pattern.matches("a")) << text;
        EXPECT_EQ(pattern.requiredLiteral(), "") << text;
    }
    RegexPattern withNul(std::string_view("a\0b", 3), {});
    EXPECT_FALSE(withNul.matches("a"));
}

TEST(RegexPatternTest, HostilePatternsAreRefused) {
    const std::string nests = repeated("(", 100'000);
    const std::pair<const char*, std::string> cases[] = {
        {"open groups", nests},
        {"nested groups", nests + "a" + repeated(")", 100'000)},
        {"nested stars", repeated("(", 200) + "a" + repeated(")*", 200)},
        {"nested intervals", "(((a{1,100}){1,100}){1,100}){1,100}"},
        {"endless interval", "(a{20000,}){20000,}"},
        {"huge number", "a{99999999999999999999999999}"},
        {"many optional parts", repeated("a?", 100'000)},
        {"many words ends", repeated("\\b(a|\\b)*", 12)},
        {"many optional anchors", repeated("(a|^)*", 24)},
        {"open bracket", "[" + repeated("[:", 100'000)},
    };
    for (const auto& [name, text] : cases)
        EXPECT_FALSE(RegexPattern(text, {}).isValid()) << name;
}

TEST(RegexPatternTest, OrdinaryPatternsAreWithinTheLimits) {
    const std::string patterns[] = {
        "^.{1,255}$",
        "[0-9]{4}-[0-9]{2}-[0-9]{2}( [0-9]{2}){0,3}",
        "\\b(live|remix|edit)\\b",
        repeated("^word|", 100) + "^last",
        repeated("(", 64) + "a" + repeated(")", 64),
        repeated("a", 1'900),
    };
    for (const std::string& text : patterns)
        EXPECT_TRUE(RegexPattern(text, {}).isValid()) << text;
}

TEST(RegexPatternTest, KnowsALiteralThatEveryMatchHolds) {
    const std::pair<const char*, const char*> cases[] = {
        {"^IMG_[0-9]+\\.jpg$", "img_"},
        {"a|b", ""},
        {"(foo|bar)baz", "baz"},
        {"\\.(mp3|flac)$", "."},
        {"abc*d", "ab"},
        {"xab+cde", "bcde"},
        {"a{0,3}bc", "bc"},
        {"(abc)+de", "abc"},
        {"(abc){0}de", "de"},
        {"a[b]c", "abc"},
        {"a[]]d", "a]d"},
        {"a\\wbc", "bc"},
        {"((ab|c)|def)g", "g"},
        {"a{2}bc", "abc"},
    };
    for (const auto& [pattern, literal] : cases)
        EXPECT_EQ(RegexPattern(pattern, {}).requiredLiteral(), literal) << pattern;
    EXPECT_EQ(RegexPattern("IMG", {.caseSensitive = true}).requiredLiteral(), "IMG");
}

/// Random patterns against random names: the same hits as the system's matcher, the literal in
/// every hit, and nothing refused that is well-formed, small and without back-references.
TEST(RegexPatternTest, AgreesWithTheSystemsMatcher) {
    std::mt19937 random(31);
    const std::vector<std::string> parts = {
        "a",    "b",    "B",  ".",  "*",    "+",    "?",   "|",    "(",   ")",
        "^",    "$",    "ab", ".*", "[ab]", "[^b]", "[b]", "[]a]", "{2}", "{0,1}",
        "{1,}", "{,2}", "{",  "}",  "\\w",  "\\b",  "\\<", "\\.",  "]"};
    const std::string letters = "aabbB.";
    std::vector<std::string> names;
    for (int i = 0; i < 60; ++i) {
        std::string name;
        for (auto n = random() % 9; n > 0; --n)
            name += letters[random() % letters.size()];
        names.push_back(name);
    }
    int hits = 0;
    int literals = 0;
    for (int round = 0; round < 12'000; ++round) {
        std::string text;
        for (auto n = 1 + random() % 7; n > 0; --n)
            text += parts[random() % parts.size()];
        const bool caseSensitive = random() % 2 == 0;
        const testing::PosixRegex reference(text, caseSensitive);
        RegexPattern pattern(text, {.caseSensitive = caseSensitive});
        ASSERT_EQ(pattern.isValid(), reference.isValid()) << text;
        const std::string& literal = pattern.requiredLiteral();
        literals += literal.empty() ? 0 : 1;
        for (const std::string& name : names) {
            const bool expected = reference.matches(name);
            ASSERT_EQ(pattern.matches(name.c_str()), expected) << text << " on " << name;
            if (!expected)
                continue;
            ++hits;
            const std::string searched = caseSensitive ? name : asciiLower(name);
            ASSERT_NE(searched.find(literal), std::string::npos)
                << literal << " of " << text << " in " << name;
        }
    }
    EXPECT_GT(hits, 50'000);
    EXPECT_GT(literals, 1'000);
}

TEST(RegexPatternTest, KeepsMatchingAfterManyNames) {
    RegexPattern pattern("(x|y)*x(x|y){3}$", {});
    const std::string hit = repeated("xy", 60) + "xyyy";
    const std::string miss = repeated("xy", 60) + "yyyy";
    for (int i = 0; i < 3'000; ++i) {
        ASSERT_TRUE(pattern.matches(hit.c_str())) << i;
        ASSERT_FALSE(pattern.matches(miss.c_str())) << i;
    }
}

TEST(RegexPatternTest, ClonesMatchInParallel) {
    const RegexPattern pattern("^track[0-9]{2}", {});
    std::vector<int> hits(4);
    std::vector<std::thread> threads;
    for (int& count : hits)
        threads.emplace_back([&pattern, &count] {
            RegexPattern own = pattern.clone();
            for (int i = 0; i < 5'000; ++i)
                count += own.matches(("Track" + std::to_string(i)).c_str()) ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(hits, std::vector<int>(4, 4'990));
}

/// In a one-byte locale Ä and ä are letters of one kind. Patterns must not notice, and the caller's
/// locale must still be there afterwards.
TEST(RegexPatternTest, TheCallersLocaleNeitherMattersNorChanges) {
    const locale_t own = ::newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    ASSERT_NE(own, locale_t{});
    const locale_t before = ::uselocale(own);
    RegexPattern pattern("^.$", {});
    const bool oneByte = pattern.matches("\xE4");
    const bool twoBytes = pattern.matches("ä");
    const locale_t after = ::uselocale(before);
    ::freelocale(own);
    EXPECT_TRUE(oneByte);
    EXPECT_FALSE(twoBytes);
    EXPECT_EQ(after, own);
}

} // namespace
} // namespace quarrydex
