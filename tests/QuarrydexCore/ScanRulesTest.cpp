#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/store/fidx.h"

#include "tests/fakes/FakeDirReader.h"
#include "tests/support/Scanned.h"
#include "tests/support/TempTree.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

TEST(ScanRulesTest, ClutterIsJunkAndDotNamesAreHidden) {
    constexpr std::uint8_t junk = EntryFlags::junk;
    constexpr std::uint8_t hidden = EntryFlags::hidden;

    const struct {
        const char* name;
        std::uint8_t asFile, asFolder;
    } cases[] = {
        {"._song.mp3", junk | hidden, junk | hidden},
        {"._", junk | hidden, junk | hidden},
        {"_.", 0, 0},
        {".DS_Store", junk | hidden, junk | hidden},
        {".ds_store", hidden, hidden},
        {".DS_Store2", hidden, hidden},
        {".Spotlight-V100", junk | hidden, junk | hidden},
        {".fseventsd", junk | hidden, junk | hidden},
        {".DocumentRevisions-V100", junk | hidden, junk | hidden},
        {".git", hidden, hidden},
        {"Icon\r", junk, junk},
        {"icon\r", 0, 0},
        {"Thumbs.db", junk, junk},
        {"Thumbs.dbx", 0, 0},
        {"Desktop.INI", junk, junk},
        {"$RECYCLE.BIN", junk, junk},
        {"RECYCLED", junk, junk},
        {"RECYCLER", 0, 0},
        {"System Volume Information", junk, junk},
        {"FOUND.000", 0, junk},
        {"found.9", 0, junk},
        {"FOUND.", 0, 0},
        {"FOUND.x00", 0, 0},
        {"FILE0001.CHK", junk, junk},
        {"fileABCD.chk", junk, junk},
        {"FILE001.CHK", 0, 0},
        {"FILE0001.CHX", 0, 0},
        {"Profile1.CHK", 0, 0},
    };

    FakeDirReader reader;
    for (const auto& c : cases) {
        reader.add("/r/files", c.name, aFile);
        reader.add("/r/folders", c.name, aFolder);
        reader.folders["/r/folders/" + std::string(c.name)];
    }
    reader.add("/r", "files", aFolder);
    reader.add("/r", "folders", aFolder);
    const InstalledDirReader installed(reader);
    StoreDump dump = scan("/r").dump();
    for (const auto& c : cases) {
        EXPECT_EQ(dump["/r/files/" + std::string(c.name)].flags, c.asFile) << c.name;
        EXPECT_EQ(dump["/r/folders/" + std::string(c.name)].flags, c.asFolder | EntryFlags::dir)
            << c.name;
    }
}

TEST(ScanRulesTest, HiddenAndJunkHoldForEverythingBelow) {
    FakeDirReader reader;
    reader.add("/r", "$RECYCLE.BIN", aFolder);
    reader.add("/r/$RECYCLE.BIN", "d", aFolder);
    reader.add("/r/$RECYCLE.BIN/d", ".f", aFile);
    reader.add("/r/$RECYCLE.BIN/d", "link", {.type = ObjectType::symlink});
    reader.add("/r", "marked", {.type = ObjectType::folder, .isHidden = true});
    reader.add("/r/marked", "f", aFile);
    reader.add("/r", "plain", aFolder);
    reader.add("/r/plain", "f", aFile);
    const InstalledDirReader installed(reader);
    StoreDump dump = scan("/r").dump();
    EXPECT_EQ(dump["/r/$RECYCLE.BIN"].flags, 0x09);
    EXPECT_EQ(dump["/r/$RECYCLE.BIN/d"].flags, 0x09);
    EXPECT_EQ(dump["/r/$RECYCLE.BIN/d/.f"].flags, 0x0A);
    EXPECT_EQ(dump["/r/$RECYCLE.BIN/d/link"].flags, 0x0C);
    EXPECT_EQ(dump["/r/marked"].flags, 0x03);
    EXPECT_EQ(dump["/r/marked/f"].flags, 0x02);
    EXPECT_EQ(dump["/r/plain/f"].flags, 0x00);
}

TEST(ScanRulesTest, IncludedExtensionsSelectNonFoldersByRawName) {
    TempTree tree;
    for (const char* name : {"a.MP3", "mp3", ".mp3", "b.mp3x", "c.xmp3", "d.", "e.tar.mp3",
                             "f.Flac", "g.mp3\x01", "sub.flac/h.mp3", "sub.flac/i.txt"})
        tree.file(name, 10);
    tree.link("link.mp3", "a.MP3");
    tree.link("link.txt", "a.MP3");
    tree.folder("empty.txt");
    Scanned scanned;
    const std::string exts[] = {"mp3", "FLAC"};
    fidx_set_include_exts(scanned.store.get(), exts);
    ASSERT_EQ(fidx_scan(scanned.store.get(), tree.path().c_str(), 2, &scanned.stats), 0);
    EXPECT_EQ(namesBelow(scanned, tree.path()),
              (std::vector<std::string>{"a.MP3", "e.tar.mp3", "empty.txt", "f.Flac", "link.mp3",
                                        "sub.flac", "sub.flac/h.mp3"}));
    EXPECT_EQ(scanned.stats.files, 4U);
    EXPECT_EQ(scanned.stats.bytes, 40U);
    EXPECT_EQ(scanned.stats.other, 1U);
    EXPECT_EQ(scanned.stats.dirs, 2U);
}

TEST(ScanRulesTest, ExcludedFoldersAreRecordedAndNotEntered) {
    TempTree tree;
    for (const char* name : {"skip/a", "skip2/a", "deep/skip/a", "keep/b", "file"})
        tree.file(name);
    Scanned scanned;
    const std::string excludes[] = {tree.path("skip///"), tree.path("deep/skip"), tree.path("kee"),
                                    tree.path("file")};
    fidx_set_excludes(scanned.store.get(), excludes);
    ASSERT_EQ(fidx_scan(scanned.store.get(), tree.path().c_str(), 2, &scanned.stats), 0);
    EXPECT_EQ(namesBelow(scanned, tree.path()),
              (std::vector<std::string>{"deep", "deep/skip", "file", "keep", "keep/b", "skip",
                                        "skip2", "skip2/a"}));
}

TEST(ScanRulesTest, PathsThatRepeatSixTimesAreNotEntered) {
    const auto times = [](int n, const std::string& part) {
        std::string path;
        for (int i = 0; i < n; ++i)
            path += part + "/";
        return path;
    };

    const struct {
        std::string folders;
        bool isEntered;
    } cases[] = {
        {times(5, "a"), true},          {times(6, "a"), false},
        {times(5, "a") + "b/", true},   {"b/" + times(6, "a"), false},
        {times(5, "a/b") + "a/", true}, {times(6, "a/b"), false},
        {times(6, "aa/a"), false},      {times(5, "a/b") + "a/c/", true},
        {times(6, "a/b/c"), true}, // 18 components: more than the 16 that are looked at
    };

    for (const auto& c : cases) {
        TempTree tree;
        tree.file(c.folders + "x");
        const Scanned scanned = scan(tree.path());
        StoreDump dump = scanned.dump();
        const std::string folder = tree.path(c.folders.substr(0, c.folders.size() - 1));
        EXPECT_TRUE(dump.contains(folder)) << c.folders;
        EXPECT_EQ(dump.contains(folder + "/x"), c.isEntered) << c.folders;
        EXPECT_EQ(scanned.stats.nested, c.isEntered ? 0U : 1U) << c.folders;
    }
}

TEST(ScanRulesTest, RepetitionMayFillTheWholePath) {
    EXPECT_TRUE(fidx_path_repeats("/a/a/a/a/a", "a"));
    EXPECT_TRUE(fidx_path_repeats("a//a/a/a/a/", "a"));
    EXPECT_FALSE(fidx_path_repeats("/a/a/a/a", "a"));
    EXPECT_TRUE(fidx_path_repeats("/a/b/a/b/a/b/a/b/a/b/a", "b"));
    EXPECT_FALSE(fidx_path_repeats("/b/a/b/a/b/a/b/a/b/a", "b"));
    EXPECT_FALSE(fidx_path_repeats("/", "a"));
}

TEST(ScanRulesTest, TimesAreClampedAndSizesAreThoseOfFiles) {
    FakeDirReader reader;
    reader.add("/r", "old",
               {.size = 9, .mtime = -1, .birthTime = INT64_MIN, .type = ObjectType::file});
    reader.add("/r", "far",
               {.size = 1ULL << 50,
                .mtime = 0x1'0000'0000,
                .birthTime = INT64_MAX,
                .type = ObjectType::file});
    reader.add("/r", "d", {.size = 4096, .mtime = 5, .birthTime = 6, .type = ObjectType::folder});
    reader.add("/r", "l", {.size = 11, .mtime = 7, .birthTime = 8, .type = ObjectType::symlink});
    reader.add("/r", "o", {.size = 12, .mtime = 9, .birthTime = 10, .type = ObjectType::other});
    reader.folders["/r/d"];
    const InstalledDirReader installed(reader);
    StoreDump dump = scan("/r").dump();
    EXPECT_EQ(dump["/r/old"], (DumpedEntry{0, 9, 0, 0, ""}));
    EXPECT_EQ(dump["/r/far"], (DumpedEntry{0, 1ULL << 50, 0xFFFFFFFF, 0xFFFFFFFF, ""}));
    EXPECT_EQ(dump["/r/d"], (DumpedEntry{1, 0, 5, 6, ""}));
    EXPECT_EQ(dump["/r/l"], (DumpedEntry{4, 0, 7, 8, ""}));
    EXPECT_EQ(dump["/r/o"], (DumpedEntry{0, 0, 9, 10, ""}));
}

} // namespace
} // namespace quarrydex
