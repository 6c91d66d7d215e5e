#include "QuarrydexAudio/tags/TagText.h"

#include "tests/support/AudioBytes.h"

#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace std::string_literals;

Bytes asBytes(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(TagTextTest, BytesAreUtf8OrElseLatin1) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"Blue Train", "Blue Train"},
        {"Sigur R\xC3\xB3s", "Sigur R\xC3\xB3s"},
        {"Sigur R\xF3s", "Sigur R\xC3\xB3s"},
        {"\x80\xFF", "\xC2\x80\xC3\xBF"},
        {"\xC3\xB3 \xF3", "\xC3\x83\xC2\xB3 \xC3\xB3"}, // one stray byte: all of it Latin-1
        {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},   // a surrogate is no UTF-8
        {"\xC0\xAF", "\xC3\x80\xC2\xAF"},               // nor is an overlong form
        {"\xF0\x9F\x8E\xB5", "\xF0\x9F\x8E\xB5"},
        {"end\0\0\0"s, "end"},
        {"cut\0 here"s, "cut"},
        {"cut \0\xFF"s, "cut"},
        {"\0lost"s, ""},
        {" \t\r\n\v\f both ends \r\n", "both ends"},
        {"\xC2\xA0\xE3\x80\x80nbsp, wide space\xE2\x80\xA8", "nbsp, wide space"},
        {"\xC2\x85next line\xC2\x85", "next line"},
        {" \xA0 ", ""},                     // Latin-1 no-break space
        {"a\xE2\x80\x8B", "a\xE2\x80\x8B"}, // zero width is not white space
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(decodeText(asBytes(bytes)), text) << bytes;
}

TEST(TagTextTest, Utf16FailsToTheEmptyText) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {bytes::utf16be(" Jazz ") + "\0\0\0\0"s, "Jazz"},
        {"\x00\xF3\x65\xE5\x67\x2C"s, "\xC3\xB3\xE6\x97\xA5\xE6\x9C\xAC"},
        {"\xD8\x3C\xDF\xB5"s, "\xF0\x9F\x8E\xB5"},
        {"\x00\x41\xD8\x3C"s, ""},         // a high surrogate at the end
        {"\xD8\x3C\x00\x41"s, ""},         // before a letter
        {"\xD8\x3C\xD8\x3C\xDF\xB5"s, ""}, // before another one
        {"\xDF\xB5\x00\x41"s, ""},         // a low one first
        {"\x00\x41\x42"s, ""},             // half a unit
        {"\x00\x41\x00\x00\x00\x42"s, "A"},
        {"\x30\x00\x00\x41\x30\x00"s, "A"}, // wide spaces
    };
    for (const auto& [bigEndian, text] : cases) {
        EXPECT_EQ(decodeText(asBytes(bigEndian), Utf16Order::big), text);
        std::string little = bigEndian;
        for (std::size_t i = 0; i + 1 < little.size(); i += 2)
            std::swap(little[i], little[i + 1]);
        EXPECT_EQ(decodeText(asBytes(little), Utf16Order::little), text);
    }
}

TEST(TagTextTest, YearIsTheFirstFourCharacters) {
    const std::pair<std::string_view, int> cases[] = {
        {"2011", 2011}, {"2011-05-02", 2011}, {"20111", 2011},   {"1000", 1000}, {"9999", 9999},
        {"0999", 0},    {"999", 0},           {"", 0},           {"20a1", 0},    {"-201", 0},
        {"+201", 0},    {"c. 1970", 0},       {"201\xC3\xB3", 0}};
    for (const auto& [text, year] : cases)
        EXPECT_EQ(yearOf(text), year) << text;
}

TEST(TagTextTest, TempoIsAWholePlainDecimalNumber) {
    const std::pair<std::string_view, int> cases[] = {
        {"128", 1280}, {"128,5", 1285},  {" 128.5 ", 1285}, {"127.98", 1280},      {"128.", 1280},
        {".5", 5},     {"599.99", 6000}, {"128.25", 1283},  {"000000000128", 1280}};
    for (const auto& [text, bpm10] : cases)
        EXPECT_EQ(tempo10Of(text), bpm10) << text;
    for (const char* none : {"0.04", "600", "0", "-128", "", "128 BPM", "1e2", "1e9", "0x80", "nan",
                             "inf", "infinity", "1.285,5", "12 8"})
        EXPECT_EQ(tempo10Of(none), 0) << none;
    EXPECT_EQ(tempo10Of(std::string(100'000, '9')), 0);
}

} // namespace

} // namespace quarrydex
