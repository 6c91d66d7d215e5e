#include "QuarrydexApp/table/Columns.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexApp/table/Kinds.h"
#include "QuarrydexApp/table/MatchMarks.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/text/Fold.h"

#include "tests/support/WidgetsApplication.h"

#include <QLocale>

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

TEST(ColumnsTest, ColumnsAreFoundByTheirIdAndSortByTheKeyOfThatName) {
    std::size_t sorting = 0;
    for (const ColumnDef& def : ColumnDef::all) {
        const auto found = ColumnDef::byID(def.id);
        ASSERT_TRUE(found) << def.id;
        EXPECT_EQ(&ColumnDef::of(*found), &def) << def.id;
        sorting += def.sort && rawValue(*def.sort) == def.id ? 1 : 0;
    }
    EXPECT_EQ(sorting, sortKeyCount);
    EXPECT_EQ(ColumnDef::byID("paths"), std::nullopt);
}

TEST(CellTextTest, ValuesReadAsPeopleWriteThem) {
    QLocale::setDefault(QLocale("en_US"));
    using namespace CellText;
    const std::pair<QString, const char*> cases[] = {
        {duration(0), ""},
        {duration(499), "0:00"},
        {duration(59'500), "1:00"},
        {duration(3'599'500), "1:00:00"},
        {duration(0xFFFFFFFF), "1193:02:47"},
        {sampleRate(44'100), "44.1 kHz"},
        {sampleRate(11'025), "11.025 kHz"},
        {bitrate(245, true), "Ø 245 kbit/s"},
        {tempo(1280), "128"},
        {tempo(1275), "127.5"},
        {number(2024), "2024"}, // a year has no grouping
        {dimensions(1920, 0), ""},
        {date(0), ""},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text, QString::fromUtf8(expected));
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
