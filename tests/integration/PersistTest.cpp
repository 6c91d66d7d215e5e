// The built program over several runs: what it keeps, what it catches up with, and what it follows.

#include "tests/integration/Polling.h"
#include "tests/support/AudioBytes.h"
#include "tests/support/FileStorm.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quarrydex {

namespace {

using nlohmann::json;

class PersistTest : public ::testing::Test {
  protected:
    PersistTest() {
        tree.file("music/One.mp3", 300);
        tree.file("music/Two.mp3", 200);
        tree.folder("empty");
        tree.folder("gone/deep");
        tree.file("gone/deep/three.mp3");
    }

    Outcome list(std::vector<std::string> arguments = {}, const std::string& query = "mp3") {
        arguments.insert(arguments.begin(), {"--root", tree.path(), "--list", query});
        return runProgram(QDX_PROGRAM, arguments, {.home = home.path()});
    }

    std::string lines(const std::vector<std::string>& names) {
        std::string out;
        for (const std::string& name : names)
            out += tree.path(name) + "\n";
        return out;
    }

    /// The catalogues' files, without the part of their names that differs from run to run.
    std::multiset<std::string> savedFiles() {
        std::multiset<std::string> kinds;
        for (const auto& file : std::filesystem::recursive_directory_iterator(home.path()))
            if (file.is_regular_file() && file.path().extension() != ".lock")
                kinds.insert(file.path().extension().string());
        return kinds;
    }

    /// A song whose size depends on the artist's length alone.
    void song(const std::string& rel, std::string_view artist, std::int64_t mtime) {
        tree.file(rel, bytes::id3Tag(4, bytes::id3Text(4, "TPE1", artist)) + bytes::mpegFrames(3));
        tree.setTimes(rel, mtime);
    }

    /// Overwrites it with what is no audio, which nobody sees who does not open it.
    void spoil(const std::string& rel, std::int64_t mtime) {
        const auto size = std::filesystem::file_size(tree.path(rel));
        tree.file(rel, std::string(size, 'x'));
        tree.setTimes(rel, mtime);
    }

    TempTree tree;
    TempTree home;
    const std::set<std::string> all = {tree.path("music/One.mp3"), tree.path("music/Two.mp3"),
                                       tree.path("gone/deep/three.mp3")};
    const std::int64_t longAgo = 1'600'000'000;
};

} // namespace

TEST_F(PersistTest, ASecondRunAnswersFromTheSavedCatalogueAndCatchesUp) {
    EXPECT_EQ(list().out, lines({"music/One.mp3", "gone/deep/three.mp3", "music/Two.mp3"}));
    EXPECT_EQ(savedFiles(), (std::multiset<std::string>{".aud", ".idx"}));

    tree.file("empty/New.mp3");
    tree.rename("music/Two.mp3", "music/Zwei.mp3");
    tree.remove("gone");
    EXPECT_EQ(list().out, lines({"empty/New.mp3", "music/One.mp3", "music/Zwei.mp3"}));
    EXPECT_EQ(list({"--sort", "path", "--desc"}).out,
              lines({"music/Zwei.mp3", "music/One.mp3", "empty/New.mp3"}));
    EXPECT_EQ(savedFiles(), (std::multiset<std::string>{".aud", ".idx"}));
}

TEST_F(PersistTest, NothingIsLeftBehindWhenNothingIsToBeKept) {
    EXPECT_EQ(list({"--no-persist"}).status, 0);
    EXPECT_TRUE(savedFiles().empty());
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
}

TEST_F(PersistTest, ADamagedCatalogueIsMadeAnew) {
    ASSERT_EQ(list().status, 0);
    for (const auto& file : std::filesystem::recursive_directory_iterator(home.path())) {
        if (file.path().extension() != ".idx")
            continue;
        // The parents' column, made to loop: what passes the checks of loading.
        std::fstream raw(file.path(), std::ios::in | std::ios::out | std::ios::binary);
        std::int64_t offset = 0;
        raw.seekg(1336 + 3 * 16).read(reinterpret_cast<char*>(&offset), 8);
        raw.seekp(offset + 4).write("\2\0\0\0\1\0\0", 8);
        ASSERT_TRUE(raw.good());
    }
    EXPECT_EQ(list().out, lines({"music/One.mp3", "gone/deep/three.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, ACatalogueOfOtherSettingsIsNotUsed) {
    ASSERT_EQ(list().status, 0);
    EXPECT_EQ(list({"--exclude", tree.path("music")}).out, lines({"gone/deep/three.mp3"}));
    EXPECT_EQ(list({"--types", "flac"}).out, "");
    EXPECT_EQ(list().out, lines({"music/One.mp3", "gone/deep/three.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, ARunningProgramFollowsChangesAndSavesThemWhenToldToEnd) {
    RunningProgram program(QDX_PROGRAM, {"--root", tree.path(), "--batch"}, {.home = home.path()});
    ASSERT_TRUE(comesToFind(program, all));
    tree.file("empty/sub/Live.mp3");
    tree.remove("music/One.mp3");
    tree.rename("gone", "moved");
    EXPECT_TRUE(comesToFind(program, {tree.path("empty/sub/Live.mp3"), tree.path("music/Two.mp3"),
                                      tree.path("moved/deep/three.mp3")}));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);

    // What was saved is what it knew, without another look at the disk.
    EXPECT_EQ(savedFiles(), (std::multiset<std::string>{".aud", ".idx"}));
    EXPECT_EQ(list().out, lines({"empty/sub/Live.mp3", "moved/deep/three.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, TwoProgramsShareACatalogueThatOneOfThemWrites) {
    RunningProgram first(QDX_PROGRAM, {"--root", tree.path(), "--batch"}, {.home = home.path()});
    ASSERT_TRUE(comesToFind(first, all));
    tree.remove("gone");
    EXPECT_EQ(list().out, lines({"music/One.mp3", "music/Two.mp3"}));
    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(list().out, lines({"music/One.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, WithoutATaskItRunsUntilItIsToldToEndAndSaves) {
    RunningProgram program(QDX_PROGRAM, {"--root", tree.path()}, {.home = home.path()});
    ASSERT_TRUE(eventually([&] { return savedFiles().count(".idx") > 0; }));
    tree.file("empty/Late.mp3");
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(list().out,
              lines({"empty/Late.mp3", "music/One.mp3", "gone/deep/three.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, KilledAtAnyMomentItCatchesUpWithAllThatHappened) {
    tree.folder("storm/root");
    tree.folder("storm/outside");
    const std::string root = tree.path("storm/root");
    FileStorm storm(root, tree.path("storm/outside"), {.seed = 11});
    storm.populate(1'000);
    for (int round = 0; round < 6; ++round) {
        RunningProgram program(QDX_PROGRAM, {"--root", root, "--batch"}, {.home = home.path()});
        program.writeLine(R"({"query":"x"})");
        ASSERT_TRUE(program.readLine()); // it is there and watches
        storm.run(1'000);
        if (round % 2 == 1)
            program.signal(SIGTERM); // so that it dies while it saves
        storm.run(static_cast<std::size_t>(round) * 20);
        program.signal(SIGKILL);
        program.wait();
        storm.run(200);

        std::multiset<std::string> wanted;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
            wanted.insert(entry.path());
        const Outcome listed =
            runProgram(QDX_PROGRAM, {"--root", root, "--list", "", "--show-junk", "--print0"},
                       {.home = home.path()});
        std::multiset<std::string> found;
        for (std::size_t at = 0; at < listed.out.size();)
            at += found.insert(listed.out.c_str() + at)->size() + 1;
        ASSERT_EQ(found, wanted) << "round " << round;
    }
}

TEST_F(PersistTest, StartUpIsMeasuredFromTheSavedCatalogue) {
    const std::vector<std::string> arguments = {"--root", tree.path(), "--startup-bench"};
    const std::string name = tree.path().substr(tree.path().rfind('/') + 1);
    const std::string fresh = runProgram(QDX_PROGRAM, arguments, {.home = home.path()}).out;
    EXPECT_NE(fresh.find("(" + name + "= scan)\n"), std::string::npos) << fresh;
    ASSERT_EQ(list().status, 0);
    const std::string saved = runProgram(QDX_PROGRAM, arguments, {.home = home.path()}).out;
    EXPECT_NE(saved.find(" rows (" + name + "= snapshot)\n"), std::string::npos) << saved;
    EXPECT_TRUE(saved.starts_with("startup: ")) << saved;
}

// --- Music --------------------------------------------------------------------------------------

TEST_F(PersistTest, TagsAreReadOnceAndKept) {
    song("music/a.mp3", "First", longAgo);
    song("music/b.mp3", "Second", longAgo);
    EXPECT_EQ(json::parse(list({"--json"}, "a.mp3").out)["audio"]["artist"], "First");
    spoil("music/a.mp3", longAgo);
    EXPECT_EQ(list({}, "artist:first").out, lines({"music/a.mp3"})) << "it was read again";

    // A file that changed is read, the others are not.
    spoil("music/b.mp3", longAgo);
    song("music/a.mp3", "Third", longAgo + 1);
    song("empty/c.mp3", "First", longAgo);
    EXPECT_EQ(list({}, "artist:first").out, lines({"empty/c.mp3"}));
    EXPECT_EQ(list({}, "artist:second | artist:third").out, lines({"music/a.mp3", "music/b.mp3"}));
    EXPECT_EQ(savedFiles(), (std::multiset<std::string>{".aud", ".idx"}));
}

TEST_F(PersistTest, ARunningProgramFindsRetaggedFilesUnderTheirNewTags) {
    song("music/a.mp3", "First", longAgo);
    song("music/b.mp3", "First", longAgo);
    RunningProgram program(QDX_PROGRAM, {"--root", tree.path(), "--batch"}, {.home = home.path()});
    const std::string a = tree.path("music/a.mp3"), b = tree.path("music/b.mp3");
    const std::string c = tree.path("empty/c.mp3"), d = tree.path("empty/d.mp3");
    ASSERT_TRUE(comesToFind(program, {a, b}, "artist:first"));
    song("music/a.mp3", "Second", longAgo + 1);
    song("empty/c.mp3", "Second", longAgo);
    tree.rename("music/b.mp3", "empty/d.mp3");
    EXPECT_TRUE(comesToFind(program, {a, c}, "artist:second"));
    EXPECT_TRUE(comesToFind(program, {d}, "artist:first"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);

    // All of it was saved.
    for (const char* name : {"music/a.mp3", "empty/c.mp3", "empty/d.mp3"})
        spoil(name, std::string(name) == "music/a.mp3" ? longAgo + 1 : longAgo);
    EXPECT_EQ(list({}, "artist:first | artist:second").out,
              lines({"music/a.mp3", "empty/c.mp3", "empty/d.mp3"}));
}

TEST_F(PersistTest, FileThatHadJustChangedIsReadAgainByTheNextRun) {
    const auto retag = [&](const char* artist) { song("music/a.mp3", artist, std::time(nullptr)); };
    retag("First");
    EXPECT_EQ(list({}, "artist:first").out, lines({"music/a.mp3"}));
    retag("Other"); // mostly within the same second
    EXPECT_EQ(list({}, "artist:other").out, lines({"music/a.mp3"}));
    EXPECT_NE(list({"--json"}, "a.mp3").out.find("Other"), std::string::npos);
    retag("Third");
    EXPECT_EQ(list({}, "artist:third").out, lines({"music/a.mp3"}));
}

} // namespace quarrydex
