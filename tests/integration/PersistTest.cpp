// The built program over several runs: what it keeps, what it catches up with, and what it follows.

#include "tests/support/AudioBytes.h"
#include "tests/support/FileStorm.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <set>
#include <thread>

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
    const std::int64_t longAgo = 1'600'000'000;
};

/// Asks until the answer holds just these paths; as long as the program is given to show a change.
class Asker {
  public:
    explicit Asker(RunningProgram& program, std::string query = "mp3")
        : program_(program), request_(json{{"query", std::move(query)}}.dump()) {}

    bool comesToHold(std::set<std::string> wanted) {
        using namespace std::chrono_literals;
        const auto end = std::chrono::steady_clock::now() + 30s;
        while (std::chrono::steady_clock::now() < end) {
            program_.writeLine(request_);
            const auto line = program_.readLine();
            if (!line)
                return false;
            const auto paths = json::parse(*line)["paths"].get<std::set<std::string>>();
            if (paths == wanted)
                return true;
            std::this_thread::sleep_for(20ms); // between two questions of a script
        }
        return false;
    }

  private:
    RunningProgram& program_;
    const std::string request_;
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
        std::FILE* const raw = std::fopen(file.path().c_str(), "r+b");
        ASSERT_NE(raw, nullptr);
        std::uint64_t offset = 0;
        std::fseek(raw, 1336 + 3 * 16, SEEK_SET);
        ASSERT_EQ(std::fread(&offset, 8, 1, raw), 1U);
        std::fseek(raw, static_cast<long>(offset) + 4, SEEK_SET);
        const std::uint32_t loop[2] = {2, 1};
        ASSERT_EQ(std::fwrite(loop, 8, 1, raw), 1U);
        std::fclose(raw);
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
    const std::set<std::string> before = {tree.path("music/One.mp3"), tree.path("music/Two.mp3"),
                                          tree.path("gone/deep/three.mp3")};
    RunningProgram program(QDX_PROGRAM, {"--root", tree.path(), "--batch"}, {.home = home.path()});
    Asker asker(program);
    ASSERT_TRUE(asker.comesToHold(before));
    tree.file("empty/sub/Live.mp3");
    tree.remove("music/One.mp3");
    tree.rename("gone", "moved");
    const std::set<std::string> after = {tree.path("empty/sub/Live.mp3"),
                                         tree.path("music/Two.mp3"),
                                         tree.path("moved/deep/three.mp3")};
    EXPECT_TRUE(asker.comesToHold(after));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);

    // What was saved is what it knew, without another look at the disk.
    EXPECT_EQ(savedFiles(), (std::multiset<std::string>{".aud", ".idx"}));
    EXPECT_EQ(list().out, lines({"empty/sub/Live.mp3", "moved/deep/three.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, TwoProgramsShareACatalogueThatOneOfThemWrites) {
    RunningProgram first(QDX_PROGRAM, {"--root", tree.path(), "--batch"}, {.home = home.path()});
    ASSERT_TRUE(Asker(first).comesToHold({tree.path("music/One.mp3"), tree.path("music/Two.mp3"),
                                          tree.path("gone/deep/three.mp3")}));
    tree.remove("gone");
    EXPECT_EQ(list().out, lines({"music/One.mp3", "music/Two.mp3"}));
    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(list().out, lines({"music/One.mp3", "music/Two.mp3"}));
}

TEST_F(PersistTest, WithoutATaskItRunsUntilItIsToldToEndAndSaves) {
    RunningProgram program(QDX_PROGRAM, {"--root", tree.path()}, {.home = home.path()});
    while (savedFiles().count(".idx") == 0)
        std::this_thread::yield();
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
    EXPECT_EQ(list({}, "artist:first").out, lines({"music/a.mp3"}));
    spoil("music/a.mp3", longAgo);
    EXPECT_EQ(list({}, "artist:first").out, lines({"music/a.mp3"})) << "it was read again";
    const Outcome shown = list({"--json"}, "a.mp3");
    EXPECT_EQ(json::parse(shown.out)["audio"]["artist"], "First");

    // A file that changed is read, the others are not.
    spoil("music/b.mp3", longAgo);
    song("music/a.mp3", "Third", longAgo + 1);
    song("empty/c.mp3", "First", longAgo);
    EXPECT_EQ(list({}, "artist:first").out, lines({"empty/c.mp3"}));
    EXPECT_EQ(list({}, "artist:second | artist:third").out, lines({"music/a.mp3", "music/b.mp3"}));
    EXPECT_EQ(savedFiles(), (std::multiset<std::string>{".aud", ".idx"}));
}

TEST_F(PersistTest, WhatJsonReadIsKeptToo) {
    song("music/a.mp3", "First", longAgo);
    song("music/b.mp3", "First", longAgo);
    EXPECT_EQ(json::parse(list({"--json"}, "a.mp3").out)["audio"]["artist"], "First");
    spoil("music/a.mp3", longAgo);
    EXPECT_EQ(list({}, "artist:first").out, lines({"music/a.mp3", "music/b.mp3"}));
}

TEST_F(PersistTest, ARunningProgramFindsRetaggedFilesUnderTheirNewTags) {
    song("music/a.mp3", "First", longAgo);
    song("music/b.mp3", "First", longAgo);
    RunningProgram program(QDX_PROGRAM, {"--root", tree.path(), "--batch"}, {.home = home.path()});
    Asker first(program, "artist:first");
    Asker second(program, "artist:second");
    ASSERT_TRUE(first.comesToHold({tree.path("music/a.mp3"), tree.path("music/b.mp3")}));
    song("music/a.mp3", "Second", longAgo + 1);
    song("empty/c.mp3", "Second", longAgo);
    tree.rename("music/b.mp3", "empty/d.mp3");
    EXPECT_TRUE(second.comesToHold({tree.path("music/a.mp3"), tree.path("empty/c.mp3")}));
    EXPECT_TRUE(first.comesToHold({tree.path("empty/d.mp3")}));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);

    // All of it was saved.
    for (const char* name : {"music/a.mp3", "empty/c.mp3", "empty/d.mp3"})
        spoil(name, std::string(name) == "music/a.mp3" ? longAgo + 1 : longAgo);
    EXPECT_EQ(list({}, "artist:first | artist:second").out,
              lines({"music/a.mp3", "empty/c.mp3", "empty/d.mp3"}));
}

TEST_F(PersistTest, DuplicatesAreFoundFromKeptTags) {
    song("music/a.mp3", "First", longAgo);
    song("empty/a.mp3", "First", longAgo);
    const std::vector<std::string> arguments = {"--root", tree.path(), "--duplicates",
                                                "m3u-surplus"};
    const Launch launch{.home = home.path()};
    const Outcome fresh = runProgram(QDX_PROGRAM, arguments, launch);
    EXPECT_EQ(fresh.status, 0);
    EXPECT_NE(fresh.out.find(tree.path()), std::string::npos);
    const Outcome again = runProgram(QDX_PROGRAM, arguments, launch);
    EXPECT_EQ(again.out, fresh.out);
    tree.remove("empty/a.mp3");
    EXPECT_EQ(runProgram(QDX_PROGRAM, arguments, launch).status, 1);
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
