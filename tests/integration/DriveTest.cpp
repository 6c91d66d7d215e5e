// A real drive (a file system in a file) that is unplugged, changed elsewhere and plugged in again
// while the built program watches it.

#include "tests/integration/Polling.h"
#include "tests/support/LoopImage.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace quarrydex {

namespace {

/// A folder in the place where drives are mounted, removed with the object.
class MountFolder {
  public:
    MountFolder() {
        std::filesystem::create_directories("/media");
        std::filesystem::create_directory(path);
    }

    ~MountFolder() {
        std::error_code error;
        std::filesystem::remove(path, error);
    }

    MountFolder(const MountFolder&) = delete;
    MountFolder& operator=(const MountFolder&) = delete;

    const std::string path = "/media/quarrydex-test-" + std::to_string(::getpid());
};

void touch(const std::string& path) {
    std::ofstream file(path, std::ios::app);
    file << 'x';
    ASSERT_TRUE(file.good()) << path;
}

} // namespace

TEST(DriveTest, UnpluggedDriveAnswersAndIsCaughtUpWhereverItWasChanged) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    const MountFolder place;
    LoopImage image(tree.path("image"));
    image.mount(place.path);
    std::filesystem::create_directory(place.path + "/music");
    const std::string songs = place.path + "/music/";
    const std::string a = songs + "a.mp3", b = songs + "b.mp3", c = songs + "c.mp3",
                      d = songs + "d.mp3";
    touch(a);
    touch(b);

    TempTree home;
    RunningProgram program(QDX_PROGRAM, {"--root", place.path, "--batch"}, {.home = home.path()});
    ASSERT_TRUE(comesToFind(program, {a, b}));
    ASSERT_TRUE(image.unmount(place.path)) << "the program keeps a quiet drive busy";
    EXPECT_TRUE(comesToFind(program, {a, b}));

    // On another machine, as it were.
    image.mount(tree.path("elsewhere"));
    touch(tree.path("elsewhere/music/c.mp3"));
    std::filesystem::remove(tree.path("elsewhere/music/a.mp3"));
    ASSERT_TRUE(image.unmount(tree.path("elsewhere")));
    EXPECT_TRUE(comesToFind(program, {a, b}));

    image.mount(place.path);
    EXPECT_TRUE(comesToFind(program, {b, c}));
    touch(d);
    EXPECT_TRUE(comesToFind(program, {b, c, d}));
    ASSERT_TRUE(image.unmount(place.path, "-l"));
    EXPECT_TRUE(comesToFind(program, {b, c, d}));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST(DriveTest, AChosenDriveIsSearchedWhileItIsAwayUnlessForgotten) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    const MountFolder place;
    const std::string identity = "001a977f-64e8-4a20-8e4e-0bf42987d0f5";
    LoopImage image(tree.path("image"), "-U " + identity);
    tree.folder("home/quarrydex");
    const auto writeSettings = [&](bool keepOffline) {
        const nlohmann::json whole = {{"enabled", true}, {"whole", true}};
        std::ofstream(tree.path("home/quarrydex/settings.json"))
            << nlohmann::json({{"sourcesConfigured", true},
                               {"indexDiskImages", true},
                               {"keepOffline", keepOffline},
                               {"sources", {{identity, whole}}}});
    };
    const Launch launch{.home = tree.path("home")};
    const std::string file = place.path + "/music/a.mp3";
    const auto list = [&] { return runProgram(QDX_PROGRAM, {"--list", "mp3"}, launch).out; };

    writeSettings(true);
    image.mount(place.path);
    std::filesystem::create_directory(place.path + "/music");
    touch(file);
    EXPECT_EQ(list(), file + "\n");
    ASSERT_TRUE(image.unmount(place.path));
    EXPECT_EQ(list(), file + "\n");
    const Outcome why = runProgram(QDX_PROGRAM, {"--explain", file}, launch);
    EXPECT_EQ(why.status, 0) << why.err;
    EXPECT_NE(why.out.find(" is not connected. The catalog ("), std::string::npos) << why.out;

    writeSettings(false);
    EXPECT_EQ(list(), "");
}

TEST(DriveTest, AFullDiskLeavesTheSavedCatalogueWhole) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    LoopImage image(tree.path("image"));
    image.mount(tree.path("home"));
    tree.file("files/one.mp3");
    const std::vector<std::string> list = {"--root", tree.path("files"), "--list", "mp3"};
    const Launch launch{.home = tree.path("home")};
    ASSERT_EQ(runProgram(QDX_PROGRAM, list, launch).status, 0);

    {
        std::ofstream filler(tree.path("home/filler"));
        const std::string block(1 << 16, 'x');
        while (filler.write(block.data(), static_cast<std::streamsize>(block.size())).flush())
            ;
    }
    for (int i = 0; i < 3'000; ++i)
        tree.file("files/a rather long name of a new file " + std::to_string(i) + ".mp3");
    // A program that stays saves what has changed when it ends.
    const Launch saving{.input = "{\"query\":\"mp3\"}\n",
                        .environment = {{"QUARRYDEX_VERBOSE", "1"}},
                        .home = launch.home};
    const Outcome full = runProgram(QDX_PROGRAM, {"--root", tree.path("files"), "--batch"}, saving);
    EXPECT_EQ(full.status, 0);
    EXPECT_NE(full.out.find("\"count\":3001"), std::string::npos) << full.out;
    EXPECT_NE(full.err.find("cannot save "), std::string::npos) << full.err;
    std::filesystem::remove(tree.path("home/filler"));
    const Outcome after = runProgram(QDX_PROGRAM, list, launch);
    EXPECT_EQ(std::count(after.out.begin(), after.out.end(), '\n'), 3'001);
}

} // namespace quarrydex
