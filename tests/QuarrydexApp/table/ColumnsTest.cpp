#include "QuarrydexApp/table/Columns.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexApp/table/Kinds.h"
#include "QuarrydexApp/table/MatchMarks.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/text/Fold.h"

#include "tests/support/WidgetsApplication.h"

#include <QLocale>

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

TEST(ColumnsTest, CatalogueOfColumnsIsTheFixedOne) {
    const char* const expected = R"(name|Name|280|name|-|-|-
artist|Artist|150|-|Audio tags|-|-
title|Title|170|-|Audio tags|-|-
album|Album|150|-|Audio tags|-|-
genre|Genre|90|-|Audio tags|-|-
year|Year|46|-|Audio tags|-|number
bpm|BPM|50|-|Audio tags|-|number
key|Key|55|-|Audio tags|-|-
duration|Duration|60|-|Audio / Video|lazy|number
bitrate|Bit rate|104|-|Audio / Video|lazy|number
rate|Sample rate|80|-|Audio / Video|lazy|number
codec|Codec|80|-|Audio / Video|-|-
bits|Bit depth|62|-|Audio / Video|-|number
channels|Channels|60|-|Audio / Video|-|-
dims|Dimensions|84|-|Image / Video|lazy|number
pages|Pages|56|-|Document|lazy|number
size|Size|78|size|File|-|number
date|Modified|76|date|File|-|number
created|Created|76|created|File|-|number
atime|Last opened|100|-|File|lazy|number
ext|Extension|64|-|File|-|-
kind|Kind|110|-|File|-|-
drive|Drive|118|-|File|-|-
path|Path|240|path|File|-|-
)";
    std::ostringstream all;
    const auto orDash = [](std::string_view text) { return text.empty() ? "-" : text; };
    for (const ColumnDef& def : ColumnDef::all)
        all << def.id << '|' << def.title << '|' << def.width << '|'
            << (def.sort ? rawValue(*def.sort) : "-") << '|' << orDash(def.group) << '|'
            << (def.lazy ? "lazy" : "-") << '|' << (def.isNumeric ? "number" : "-") << '\n';
    EXPECT_EQ(all.str(), expected);
    EXPECT_EQ(ColumnDef::byID("path"), Column::path);
    EXPECT_EQ(ColumnDef::byID("paths"), std::nullopt);
}

TEST(CellTextTest, ValuesReadAsPeopleWriteThem) {
    QLocale::setDefault(QLocale("en_US"));
    using namespace CellText;
    EXPECT_EQ(duration(0), "");
    EXPECT_EQ(duration(499), "0:00");
    EXPECT_EQ(duration(59'500), "1:00");
    EXPECT_EQ(duration(3'599'500), "1:00:00");
    EXPECT_EQ(duration(36'061'000), "10:01:01");
    EXPECT_EQ(duration(0xFFFFFFFF), "1193:02:47");
    EXPECT_EQ(sampleRate(44'100), "44.1 kHz");
    EXPECT_EQ(sampleRate(11'025), "11.025 kHz");
    EXPECT_EQ(bitrate(320, false), "320 kbit/s");
    EXPECT_EQ(bitrate(245, true), "Ø 245 kbit/s");
    EXPECT_EQ(tempo(1280), "128");
    EXPECT_EQ(tempo(1275), "127.5");
    EXPECT_EQ(number(2024), "2024"); // a year has no grouping
    EXPECT_EQ(dimensions(1920, 0), "");
    EXPECT_EQ(date(0), "");
    QLocale::setDefault(QLocale("de_DE"));
    EXPECT_EQ(sampleRate(44'100), "44,1 kHz");
    EXPECT_EQ(date(1'700'000'000), "14.11.23");
    QLocale::setDefault(QLocale("en_US"));
}

TEST(CellTextTest, ShortenedPathKeepsItsEnd) {
    const QFontMetrics font{QFont()};
    const QString path = "/home/ann/Music/Albums/1999";
    EXPECT_EQ(CellText::headTruncate(path, 10'000, font), path);
    const QString shortened = CellText::headTruncate(path, font.horizontalAdvance(path) / 2, font);
    EXPECT_TRUE(shortened.startsWith(u'…'));
    EXPECT_TRUE(shortened.endsWith("/1999"));
    EXPECT_LE(font.horizontalAdvance(shortened), font.horizontalAdvance(path) / 2);
}

TEST(KindsTest, KindIsToldByTypeAndStyle) {
    const struct {
        std::uint8_t flags;
        const char* ext;
        const char* exact;
        const char* general;
    } cases[] = {{0, "mp3", "MP3 · Audio", "Audio"},
                 {0, "pdf", "PDF · Document", "Document"},
                 {0, "zzz", "ZZZ · File", "File"},
                 {0, "", "File", "File"},
                 {EntryFlags::dir, "app", "Folder", "Folder"},
                 {EntryFlags::symlink, "mp3", "Link", "Link"}};

    for (const auto& c : cases) {
        const FileKind kind = kindOf(c.flags, c.ext);
        EXPECT_EQ(kindText(kind, c.ext, kindStyleOf("")), c.exact);
        EXPECT_EQ(kindText(kind, c.ext, kindStyleOf("general")), c.general);
    }
}

TEST(MatchMarksTest, LettersAreMarkedAsTheSearchFindsThem) {
    const struct {
        const char* name;
        std::vector<std::string> terms;
        const char* marked; ///< the shown name with the parts in brackets
    } cases[] = {
        {"Remix.mp3", {"mix"}, "Re[mix].mp3"},
        {"aaaa", {"aa"}, "[aaaa]"},
        {"abcd", {"bc", "cd", ""}, "a[bcd]"},
        {"Café Noir", {"cafe"}, "[Café] Noir"},
        {"Cafe\xCC\x81 Noir", {"cafe"}, "[Cafe\xCC\x81] Noir"},
        {"Straße", {"ss"}, "Stra[ß]e"},
        {"Straße", {"rasse"}, "St[raße]"},
        {"\xF0\x9F\x8E\xB5 song", {"song"}, "\xF0\x9F\x8E\xB5 [song]"},
        {"bad\xFF name", {"name"}, "bad\xEF\xBF\xBD [name]"},
        {"nothing", {"x"}, "nothing"},
    };

    for (const auto& c : cases) {
        std::vector<std::string> folded;
        for (const std::string& term : c.terms)
            folded.push_back(fold(term));
        QString text = shown(c.name);
        const auto parts = matchedParts(c.name, folded);
        for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
            text.insert(part->begin + part->length, u']');
            text.insert(part->begin, u'[');
        }
        EXPECT_EQ(text.toStdString(), c.marked);
    }
}

TEST(MatchMarksTest, MarksFollowTheLettersOfAShortenedName) {
    const QString text = "0123456789";
    const std::vector<TextPart> parts = {{1, 4}, {7, 2}};
    EXPECT_EQ(partsOfElided(text, text, parts), parts);
    EXPECT_EQ(partsOfElided(text, "01…89", parts), (std::vector<TextPart>{{1, 1}, {3, 1}}));
    EXPECT_EQ(partsOfElided(text, "…", parts), std::vector<TextPart>());
}

} // namespace
} // namespace quarrydex
