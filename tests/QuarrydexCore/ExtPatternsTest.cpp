#include "QuarrydexCore/query/ExtPatterns.h"

#include <gtest/gtest.h>

using namespace quarrydex;

TEST(ExtPatternsTest, SortsPiecesIntoExtensionsAndRejects) {
    using List = std::vector<std::string>;

    struct Case {
        std::string text;
        List exts;
        List rejected;
    };

    const Case cases[] = {
        {"", {}, {}},
        {" ;,\n;", {}, {}},
        {"*.MP3; .flac,wav *.m?a", {"mp3", "flac", "wav"}, {"*.m?a"}},
        {"b;a;*.B;.b", {"b", "a"}, {}},
        {"tar.gz *.tar.gz", {"tar.gz"}, {}},
        {"* *. . *.* a/b a\\b C: a*", {}, {"*", "*.", ".", "*.*", "a/b", "a\\b", "C:", "a*"}},
        {"..x", {".x"}, {}},
        {"ÄÖ", {"äö"}, {}},
        {"a\u3000b\u00A0c", {"a", "b", "c"}, {}},
        {"a\xFF;\xFF", {"a\xFF", "\xFF"}, {}},
    };
    for (const Case& test : cases) {
        const ExtPatterns read = ExtPatterns::parse(test.text);
        EXPECT_EQ(read.exts, test.exts) << test.text;
        EXPECT_EQ(read.rejected, test.rejected) << test.text;
    }
}

TEST(ExtPatternsTest, WritesWhatItReads) {
    const std::vector<std::string> exts = {"mp3", "flac", "wav"};
    EXPECT_EQ(ExtPatterns::format(exts), "*.mp3;*.flac;*.wav");
    EXPECT_EQ(ExtPatterns::parse(ExtPatterns::format(exts)).exts, exts);
    EXPECT_EQ(ExtPatterns::format({}), "");
}
