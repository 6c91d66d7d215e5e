#include "QuarrydexCore/query/QueryParser.h"

#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/QueryError.h"

#include "tests/support/DescribeQuery.h"

#include <clocale>
#include <random>

#include <gtest/gtest.h>

using namespace quarrydex;

namespace {

/// What the text is read as, or "error: " and the message.
std::string read(std::string_view text) {
    try {
        return describe(QueryParser::parse(text, 0, FixedOffsetCalendar()));
    } catch (const QueryError& error) {
        return std::string("error: ") + error.what();
    }
}

struct Case {
    std::string_view text;
    std::string_view expected;
};

void expectReadings(std::span<const Case> cases) {
    for (const Case& test : cases)
        EXPECT_EQ(read(test.text), test.expected) << test.text;
}

/// Tokens as text: [word], "quoted", and a bare bar.
std::string tokens(std::string_view text) {
    std::string out;
    for (const QueryParser::Token& token : QueryParser::tokenize(text))
        out += token.isOr     ? token.text
               : token.quoted ? '"' + token.text + '"'
                              : '[' + token.text + ']';
    return out;
}

} // namespace

TEST(QueryParserTest, TokensEndAtBlanksAndBarsOutsideQuotes) {
    const Case cases[] = {
        {"", ""},
        {" \t ", ""},
        {"a|b", "[a]|[b]"},
        {R"("my song" x)", R"("my song"[x])"},
        {R"("a|b	c")", "\"a|b\tc\""},
        {R"("")", R"("")"},
        {R"(a""b)", "[ab]"},
        {R"(ab"c d"e)", "[abc de]"},
        {R"(!"a b")", "[!a b]"},
        {R"("open | end)", R"("open | end")"},
        {"a\u00A0b\nc", "[a\u00A0b\nc]"},
        // A blank, quote or bar that carries a mark is another character.
        {"a \u0301b", "[a \u0301b]"},
        {"a|\u0308b", "[a|\u0308b]"},
        {"\"\u0301a b", "[\"\u0301a][b]"},
        {"e\u0301 b", "[e\u0301][b]"},
        {"👩\u200D👩 x", "[👩\u200D👩][x]"},
        {"\xFF\xFE |\xC3", "[\xFF\xFE]|[\xC3]"},
        {std::string_view("a\0 b", 4), std::string_view("[a\0][b]", 7)},
    };
    for (const Case& test : cases)
        EXPECT_EQ(tokens(test.text), test.expected) << test.text;
}

TEST(QueryParserTest, QuotedTextsComeBackWhole) {
    std::mt19937 random(7);
    const std::string_view alphabet[] = {"a", " ",  "\t",   "|", "!", ":",
                                         "é", "日", "\xFF", "*", "."};
    for (int round = 0; round < 2000; ++round) {
        std::vector<QueryParser::Token> expected;
        std::string text;
        for (auto left = random() % 5; left > 0; --left) {
            QueryParser::Token token;
            token.quoted = true;
            for (auto length = random() % 6; length > 0; --length)
                token.text += alphabet[random() % std::size(alphabet)];
            text += '"' + token.text + "\" ";
            expected.push_back(token);
            if (random() % 3 == 0) {
                text += random() % 2 == 0 ? "|" : " | ";
                expected.push_back({.text = "|", .quoted = false, .isOr = true});
            }
        }
        ASSERT_EQ(QueryParser::tokenize(text), expected) << text;
    }
}

TEST(QueryParserTest, WordsNegationAndGroups) {
    const Case cases[] = {
        {"", ""},
        {"  | || ", ""},
        {"a | b", "name(a) | name(b)"},
        {"| a", "name(a)"},
        {"a || b", "name(a) | name(b)"},
        {"!remix", "!name(remix)"},
        {"\"!remix\"", "name(!remix)"},
        {"!", "name(!)"},
        {"!!a", "!name(!a)"},
        {"!\u0301a", "name(!\u0301a)"},
        {"\"\"", "name()"},
        {"*.mp3 a?c", "glob(*.mp3) & glob(a?c)"},
        {"foo:bar", "name(foo:bar)"},
        {":x", "name(:x)"},
        {"!foo:b*r", "!glob(foo:b*r)"},
        {"size\u0301:1", "name(size\u0301:1)"},
        {"size:\u03011", "name(size:\u03011)"},
        {"\"size:1\"", "name(size:1)"},
        {"http://x.y", "name(http://x.y)"},
    };
    expectReadings(cases);
}

TEST(QueryParserTest, FlagsHoldForTheTermsAfterThemInEveryGroup) {
    const Case cases[] = {
        {"case:ABC def", "name(ABC)cs & name(def)cs"},
        {"a case: B | c nocase: d", "name(a) & name(B)cs | name(c)cs & name(d)"},
        {"CASE:A*", "name(A*)cs"},
        {"!case:a b", "!name(a)cs & name(b)cs"},
        {"case: \"q\" path:x", "name(q)cs & path(x)cs"},
        {"regex:^a.*b$ \"x.y\"", "regex(^a.*b$) & name(x.y)"},
        {"regex: a.b \"c.d\" *e | f", "regex(a.b) & name(c.d) & regex(*e) | regex(f)"},
        {"regex: x:y folder:z", "regex(x:y) & folder & name(z)"},
        {"!regex: a", "regex(a)"},
        {"!regex:a b", "!regex(a) & name(b)"},
        {"case:", ""},
    };
    expectReadings(cases);
}

TEST(QueryParserTest, KeysOfFiles) {
    const Case cases[] = {
        {"\"my song\" ext:mp3,flac", "name(my song) & ext(mp3,flac)"},
        {"EXT:.MP3;;Tar.GZ.,ÄÖ", "ext(mp3,tar.gz,äö)"},
        {"ext:;.", "error: ext: needs a value"},
        {"path:Music in:/a/B", "path(Music) & path(/a/B)"},
        {"path:", "error: path: needs a value"},
        {"folder:a* File:B", "folder & name(a*) & file & name(B)"},
        {"!folder:abc", "!folder & !name(abc)"},
        {"junk: !junk:x", "junk & !junk"},
        {"a ext: size:x", "error: ext: needs a value"},
        {"a | size:x", "error: size: x"},
    };
    expectReadings(cases);
}

TEST(QueryParserTest, Sizes) {
    const Case cases[] = {
        {"size:=10k", "size(10240..10240)"},
        {"size:1.5g", "size(1610612736..1610612736)"},
        {"size:>10mb", "size(10485761..18446744073709551615)"},
        {"size:>=10MiB", "size(10485760..18446744073709551615)"},
        {"size:<0", "size(0..0)"},
        {"size:<=1tb", "size(0..1099511627776)"},
        {"size:10mb..1gb", "size(10485760..1073741824)"},
        {"size:1gb..10mb", "size(10485760..1073741824)"},
        {"size:.5k", "size(512..512)"},
        {"size:1.", "size(1..1)"},
        {"size:1.9b", "size(1..1)"},
        {"size:16777215t", "size(18446742974197923840..18446742974197923840)"},
        {"size:10xb", "error: size: 10xb"},
        {"size:16777216t", "error: size: 16777216t"},
        {"size:", "error: size: "},
        {"size:10..", "error: size: "},
        {"size:.", "error: size: ."},
        {"size:nan", "error: size: nan"},
        {"size:0x10", "error: size: 0x10"},
        {"size:1e5", "error: size: 1e5"},
        {"size:-1", "error: size: -1"},
        {"size:1,5k", "error: size: 1,5k"},
        {"size:>>1", "error: size: >1"},
        {"size:\"10 mb\"", "error: size: 10 mb"},
    };
    expectReadings(cases);
    EXPECT_EQ(read("size:" + std::string(400, '9')), "error: size: " + std::string(400, '9'));
    EXPECT_EQ(QueryParser::units().size(), 14U);
    EXPECT_EQ(QueryParser::units().at("kb"), QueryParser::units().at("kib"));
}

TEST(QueryParserTest, AudioNumbers) {
    const Case cases[] = {
        {"bpm:120", "audio(bpm=1196..1204)"},
        {"bpm:120..128 ext:mp3", "audio(bpm=1200..1280) & ext(mp3)"},
        {"bpm:128bpm..120,5", "audio(bpm=1205..1280)"},
        {"bpm:>120", "audio(bpm=1201..)"},
        {"bpm:<=120", "audio(bpm=..1200)"},
        {"bpm:922337203685477000", "audio(bpm=9223372036854769660..9223372036854769668)"},
        {"bpm:922337203685477580", "error: bpm: 922337203685477580"},
        {"bpm:120x", "error: bpm: 120x"},
        {"bitrate:320", "audio(bitrate=320..320)"},
        {"br:>=191.5kbps", "audio(bitrate=192..)"},
        {"br:128K..320kbit/s", "audio(bitrate=128..320)"},
        {"br:1m", "error: bitrate: 1m"},
        {"dur:3:30", "audio(dur=209001..210999)"},
        {"length:>=1:02:03", "audio(dur=3723000..)"},
        {"duration:<=0:01,5", "audio(dur=..1500)"},
        {"dur:>90", "audio(dur=90001..)"},
        {"dur:2:90..1h", "audio(dur=210000..3600000)"},
        {"dur:1Std..2sec", "audio(dur=2000..3600000)"},
        {"dur:>=1.5min", "audio(dur=90000..)"},
        {"dur:<\"2 m\"", "audio(dur=..119999)"},
        {"dur:<=3s", "audio(dur=..3000)"},
        {"dur:<=250ms", "audio(dur=..250)"},
        {"dur::30", "error: dur: :30"},
        {"dur:1:2:3:4", "error: dur: 1:2:3:4"},
        {"dur:1:2s", "error: dur: 1:2s"},
        {"year:1990..1999", "audio(year=1990..1999)"},
        {"year:9223372036854775807", "audio(year=9223372036854775807..)"},
        {"year:>9223372036854775807", "audio(year=9223372036854775807..)"},
        {"year:9223372036854775808", "error: year: 9223372036854775808"},
        {"sr:44.1", "audio(rate=44100..44100)"},
        {"samplerate:96000", "audio(rate=96000..96000)"},
        {"sr:44.1k", "audio(rate=44100..44100)"},
        {"sr:999.9996", "audio(rate=1000000..1000000)"},
        {"sr:800hz..192kHz", "audio(rate=800..192000)"},
        {"rate:x", "error: samplerate: x"},
        {"bits:24-bit", "audio(bits=24..24)"},
        {"bitdepth:24bits", "audio(bits=24..24)"},
        {"depth:16BIT..\"24 bit\"", "audio(bits=16..24)"},
        {"depth:-bit", "error: depth: -bit"},
        {"bits:24b", "error: bits: 24b"},
        {"channels:mono", "audio(channels=1..1)"},
        {"ch:Mono..stereo", "audio(channels=1..2)"},
        {"ch:quad", "error: ch: quad"},
    };
    expectReadings(cases);
}

TEST(QueryParserTest, AudioTextsAndLossless) {
    const Case cases[] = {
        {"artist:\"The Band\"", "audio(artist~The Band)"},
        {"Title:É album:x genre:y", "audio(title~É) & audio(album~x) & audio(genre~y)"},
        {"key:Am !codec:flac", "audio(key~Am) & !audio(codec~flac)"},
        {"artist:", "error: artist: needs a value"},
        {"key:", "error: key: needs a value"},
        {"lossless: lossless:yes lossless:true lossless:1 lossless:Ja",
         "audio(lossless=yes) & audio(lossless=yes) & audio(lossless=yes) & audio(lossless=yes) & "
         "audio(lossless=yes)"},
        {"lossless:no lossless:false lossless:0 lossless:nein",
         "audio(lossless=no) & audio(lossless=no) & audio(lossless=no) & audio(lossless=no)"},
        {"lossless:Maybe", "error: lossless: Maybe"},
    };
    expectReadings(cases);
}

TEST(QueryParserTest, NumbersDoNotDependOnTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"de_DE.UTF-8", "fr_FR.UTF-8", "C"}) {
        std::setlocale(LC_ALL, locale); // where it is not installed, nothing changes
        EXPECT_EQ(read("size:1.5k sr:44.1"), "size(1536..1536) & audio(rate=44100..44100)");
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(QueryParserTest, SingleValuesSaturateAtTheEndsOfTheirType) {
    const auto nearMax = [](std::string_view) {
        return std::numeric_limits<std::int64_t>::max() - 1;
    };
    const auto nearMin = [](std::string_view) {
        return std::numeric_limits<std::int64_t>::min() + 1;
    };
    const auto field = AudioCond::Field::bpm;
    EXPECT_EQ(describe(QueryParser::numCond(field, "x", 4, nearMax)), "bpm=9223372036854775802..");
    EXPECT_EQ(describe(QueryParser::numCond(field, "x", 4, nearMin)), "bpm=..-9223372036854775803");
    EXPECT_EQ(describe(QueryParser::numCond(field, "x", 0, nearMax)),
              "bpm=9223372036854775806..9223372036854775806");
}

TEST(QueryParserTest, AndAddsATermToEveryGroup) {
    const Term term{.neg = false, .pred = preds::Ext{{"mp3"}}, .caseSensitive = false};
    const auto both = [&](std::string_view text) {
        return describe(QueryParser::parse(text, 0, FixedOffsetCalendar()).and_(term));
    };
    EXPECT_EQ(both(""), "ext(mp3)");
    EXPECT_EQ(both("a"), "name(a) & ext(mp3)");
    EXPECT_EQ(both("a b | c"), "name(a) & name(b) & ext(mp3) | name(c) & ext(mp3)");
}
