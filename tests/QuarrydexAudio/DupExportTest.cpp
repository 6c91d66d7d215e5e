#include "QuarrydexAudio/dupes/DupExport.h"

#include "tests/support/TempTree.h"

#include <clocale>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using Which = DupExport::Which;

DupMember member(const std::string& path, std::uint64_t size = 10) {
    return {.vol = 0, .entry = 0, .path = path, .size = size, .mtime = 0, .meta = {}};
}

AudioMeta flac() {
    AudioMeta meta;
    meta.codec = AudioCodec::flac;
    meta.bitrateKbps = 912;
    meta.durationMs = 181'449;
    meta.artist = "The \"Band\"";
    meta.title = "A, B";
    return meta;
}

DupGroup group(int id, std::vector<DupMember> members, std::size_t keep = 0) {
    return {.id = id, .kind = DupKind::identical, .members = std::move(members), .keep = keep};
}

/// Rows of cells, read by the rules of CSV alone.
std::vector<std::vector<std::string>> parseCsv(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row(1);
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (isQuoted && c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
            row.back() += c;
            ++i;
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && c == ',') {
            row.emplace_back();
        } else if (!isQuoted && c == '\n') {
            rows.push_back(row);
            row.assign(1, "");
        } else {
            row.back() += c;
        }
    }
    EXPECT_FALSE(isQuoted);
    EXPECT_EQ(row, std::vector<std::string>(1)) << "every line ends with a line feed";
    return rows;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

TEST(DupExportTest, TheTableIsExactlyThis) {
    DupMember tagged = member("/m/a,b \"c\".flac", 123'456'789'012);
    tagged.mtime = 1'714'583'000;
    tagged.meta = flac();
    DupGroup song = group(7, {member("/m/x.mp3"), tagged}, 1);
    song.kind = DupKind::sameSong;
    song.confirmed = false;
    std::vector<DupGroup> groups = {song, group(2, {member("/1"), member("/2")})};
    groups[1].confirmed = true;
    groups[1].members[1].mtime = 0xFFFFFFFF;
    EXPECT_EQ(DupExport::csv(groups),
              "group,kind,confirmed,keep,path,size_bytes,codec,bitrate_kbps,duration_s,artist,"
              "title,modified\n"
              "7,sameSong,false,surplus,\"/m/x.mp3\",10,,,,\"\",\"\",1970-01-01T00:00:00Z\n"
              "7,sameSong,false,keep,\"/m/a,b \"\"c\"\".flac\",123456789012,FLAC,912,181.4,"
              "\"The \"\"Band\"\"\",\"A, B\",2024-05-01T17:03:20Z\n"
              "2,identical,true,keep,\"/1\",10,,,,\"\",\"\",1970-01-01T00:00:00Z\n"
              "2,identical,true,surplus,\"/2\",10,,,,\"\",\"\",2106-02-07T06:28:15Z\n");
    EXPECT_EQ(parseCsv(DupExport::csv({})).size(), 1U);
}

TEST(DupExportTest, NamesCannotForgeARow) {
    const std::string odd[] = {
        "/a\n9,identical,,keep,\"/b\"", "/a\"\n\"", "/a\",\"b", "/a\r\nb", "/\xFF\xFE,", "/=cmd"};
    for (const std::string& path : odd) {
        DupGroup one = group(1, {member(path), member("/z")});
        one.members[0].meta = AudioMeta{};
        one.members[0].meta->artist = path;
        one.members[0].meta->title = path;
        const auto rows = parseCsv(DupExport::csv({&one, 1}));
        ASSERT_EQ(rows.size(), 3U) << path;
        ASSERT_EQ(rows[1].size(), 12U) << path;
        EXPECT_EQ(rows[1][4], path);
        EXPECT_EQ(rows[1][9], path);
        EXPECT_EQ(rows[1][10], path);
    }
}

TEST(DupExportTest, DurationsAreRoundedAsPrintfDoesInAnyLocale) {
    const std::string before = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    for (const auto& [ms, wanted] : {std::pair{0U, "0.0"},
                                     {49U, "0.0"},
                                     {50U, "0.1"},
                                     {150U, "0.1"}, // to even, where it is exact
                                     {250U, "0.2"},
                                     {350U, "0.3"},
                                     {181'949U, "181.9"},
                                     {4'294'967'295U, "4294967.3"}}) {
        DupGroup one = group(1, {member("/a"), member("/b")});
        one.members[0].meta = AudioMeta{};
        one.members[0].meta->durationMs = ms;
        EXPECT_EQ(parseCsv(DupExport::csv({&one, 1}))[1][8], wanted) << ms;
    }
    std::setlocale(LC_NUMERIC, before.c_str());
}

TEST(DupExportTest, PlaylistsNameWhatTheyAreAskedFor) {
    const DupGroup three =
        group(0, {member("/m/a.mp3"), member("/m/b.mp3"), member("/m/c.mp3")}, 1);
    EXPECT_EQ(DupExport::m3u({&three, 1}, Which::surplus),
              "#EXTM3U\n#EXTINF:-1,a\n/m/a.mp3\n#EXTINF:-1,c\n/m/c.mp3\n");
    EXPECT_EQ(DupExport::m3u({&three, 1}, Which::keep), "#EXTM3U\n#EXTINF:-1,b\n/m/b.mp3\n");
    EXPECT_EQ(linesOf(DupExport::m3u({&three, 1}, Which::all)).size(), 7U);
    EXPECT_EQ(DupExport::m3u({}, Which::all), "#EXTM3U\n");
}

TEST(DupExportTest, TitlesAndLengthsComeFromTheTags) {
    const auto entry = [](const AudioMeta& meta, const std::string& path = "/m/File 1.x.mp3") {
        DupGroup one = group(0, {member(path), member("/z")});
        one.members[0].meta = meta;
        return linesOf(DupExport::m3u({&one, 1}, Which::keep)).at(1);
    };
    AudioMeta meta = flac();
    EXPECT_EQ(entry(meta), "#EXTINF:181,The \"Band\" - A, B");
    meta.durationMs = 181'500;
    meta.title = "A\nB\tC\x7F\xC3\xA9";
    EXPECT_EQ(entry(meta), "#EXTINF:182,The \"Band\" - A B C \xC3\xA9");
    meta.durationMs = 0xFFFFFFFF;
    meta.title = "";
    EXPECT_EQ(entry(meta), "#EXTINF:4294967,File 1.x");
    EXPECT_EQ(entry(AudioMeta{}, "/m/.hidden"), "#EXTINF:0,.hidden");
}

TEST(DupExportTest, PathsWithLineBreaksAreLeftOutAndCounted) {
    const DupGroup odd = group(0, {member("/a"), member("/b\n/etc/passwd"), member("/c\rd")});
    EXPECT_EQ(linesOf(DupExport::m3u({&odd, 1}, Which::all)).size(), 3U);
    EXPECT_EQ(DupExport::unlistable({&odd, 1}, Which::all), 2U);
    EXPECT_EQ(DupExport::unlistable({&odd, 1}, Which::keep), 0U);
}

TEST(DupExportTest, ASurplusListNeverNamesAllOfAGroup) {
    // Groups as a user may have edited them: b is surplus here and kept there, c the other way
    // round; and one whose choice is void.
    const std::vector<DupGroup> groups = {group(0, {member("/a"), member("/b")}, 0),
                                          group(1, {member("/b"), member("/c")}, 0),
                                          group(2, {member("/c"), member("/d"), member("/b")}, 0),
                                          group(3, {member("/e"), member("/f")}, 2)};
    const auto lines = linesOf(DupExport::m3u(groups, Which::surplus));
    EXPECT_EQ(lines, (std::vector<std::string>{"#EXTM3U", "#EXTINF:-1,d", "/d"}));
}

TEST(DupExportTest, AFileInSeveralGroupsIsListedAndCountedOnce) {
    const std::vector<DupGroup> groups = {group(0, {member("/a", 5), member("/b", 7)}),
                                          group(1, {member("/c", 9), member("/b", 7)})};
    EXPECT_EQ(groups[0].surplusBytes() + groups[1].surplusBytes(), 14U);
    EXPECT_EQ(DupExport::surplusBytes(groups), 7U);
    EXPECT_EQ(linesOf(DupExport::m3u(groups, Which::surplus)).size(), 3U);
    EXPECT_EQ(linesOf(DupExport::m3u(groups, Which::all)).size(), 7U);
}

TEST(DupExportTest, ListsGoOnlyWhereTheyMay) {
    TempTree tree;
    tree.folder("in/side");
    tree.link("out", "/mnt");
    tree.link("in/up", "..");
    const std::pair<std::string, bool> cases[] = {
        {tree.path("a.csv"), true},
        {tree.path("a.M3U"), true},
        {tree.path("in/up/in/side/a.m3u"), true},
        {tree.path("a.m3u8"), false},
        {tree.path(".csv"), false},
        {"a.csv", true},
        {"", false},
        {"/Volumes/a.csv", false},
        {"/Volumesque/a.csv", true},
        {"/media/ann/USB/a.m3u", false},
        {"/run/media/ann/USB/a.m3u", false},
        {"/mnt/a.csv", false},
        {tree.path("out/a.csv"), false}, // by a link
    };
    for (const auto& [path, wanted] : cases)
        EXPECT_EQ(DupExport::mayWriteTo(path), wanted) << path;
}

} // namespace
} // namespace quarrydex
