#include "QuarrydexActions/platform/linux/GioTrash.h"

#include "tests/support/AnotherUser.h"
#include "tests/support/LoopImage.h"
#include "tests/support/TempTree.h"
#include "tests/support/TreeDump.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace quarrydex {
namespace {

using Kind = TrashResult::Kind;

Item itemAt(const std::string& path) {
    struct stat st {};

    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return {path, st.st_dev, st.st_ino, st.st_mode & S_IFMT};
}

TrashResult take(const std::string& path) {
    return GioTrash().take(itemAt(path));
}

std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs the body with a home and a Trash of its own in the tree, so that nothing of the machine's
/// is touched. In a child: the library reads the environment once.
void withOwnHome(const TempTree& tree, const std::function<void()>& body) {
    runInChild([&] {
        ::setenv("HOME", tree.path("home").c_str(), 1);
        ::setenv("XDG_DATA_HOME", tree.path("data").c_str(), 1);
        body();
        return 0;
    });
}

/// Everything in the tree but the Trash of the home and what GIO makes for it.
TreeDump dumpWithoutTrash(const TempTree& tree) {
    TreeDump dump = dumpTree(tree.path());
    std::erase_if(dump,
                  [&](const auto& line) { return line.first.starts_with(tree.path("data")); });
    return dump;
}

struct GioTrashTest : testing::Test {
    TempTree tree;

    GioTrashTest() {
        tree.folder("home");
        tree.folder("data");
    }
};

/// The same with a drive at "mnt".
struct TrashOfDrivesTest : GioTrashTest {
    std::optional<LoopImage> image;

    void SetUp() override {
        QDX_NEEDS(LoopImage::lack());
        image.emplace(tree.path("image"));
        image->mount(tree.path("mnt"));
    }
};

TEST_F(GioTrashTest, TakesEveryKindOfObjectAndNotesWhereItCameFrom) {
    tree.folder("target");
    tree.file("target/inside", "precious");
    tree.file("top/file", "content");
    tree.file("top/folder/inside", "content");
    tree.link("top/dangling", "nowhere");
    tree.link("top/link", tree.path("target"));
    tree.file("top/caf\xE9 50%\n", "Latin-1");
    tree.file("top/again/file", "another");
    const std::pair<std::string, std::string> cases[] = {
        {"top/file", "top/file"},
        {"top/folder", "top/folder"},
        {"top/dangling", "top/dangling"},
        {"top/link", "top/link"},
        {"top/caf\xE9 50%\n", "top/caf%E9%2050%25%0A"},
        {"top/again/file", "top/again/file"}, // there is one of that name in the Trash
    };
    const std::string target = describeObject(tree.path("target/inside"));
    withOwnHome(tree, [&] {
        for (const auto& [rel, encoded] : cases) {
            const std::string object = describeObject(tree.path(rel));
            const TrashResult result = take(tree.path(rel));
            ASSERT_EQ(result.kind, Kind::moved) << rel << result.text;
            EXPECT_EQ(describeObject(tree.path(rel)), "(gone)");
            EXPECT_EQ(describeObject(result.text), object) << rel;

            const std::string files = tree.path("data/Trash/files/");
            ASSERT_TRUE(result.text.starts_with(files)) << result.text;
            const std::string info = bytesOf(tree.path("data/Trash/info/") +
                                             result.text.substr(files.size()) + ".trashinfo");
            EXPECT_TRUE(
                info.starts_with("[Trash Info]\nPath=" + tree.path(encoded) + "\nDeletionDate="))
                << info;
        }
    });
    EXPECT_EQ(describeObject(tree.path("target/inside")), target);
}

TEST_F(GioTrashTest, ANameTooLongForTheTrashIsRefused) {
    const std::string rel = "top/" + std::string(255, 'x');
    tree.file(rel, "content");
    const TreeDump before = dumpWithoutTrash(tree);
    withOwnHome(tree, [&] {
        const TrashResult result = take(tree.path(rel));
        EXPECT_EQ(result.kind, Kind::failed);
        EXPECT_NE(result.text.find("File name too long"), std::string::npos) << result.text;
    });
    EXPECT_EQ(dumpWithoutTrash(tree), before);
}

TEST_F(TrashOfDrivesTest, ADriveKeepsItsOwnTrash) {
    tree.file("mnt/sub/a file", "content");
    tree.link("mnt/dangling", "nowhere");
    withOwnHome(tree, [&] {
        EXPECT_EQ(take(tree.path("mnt/sub/a file")).text, tree.path("mnt/.Trash-0/files/a file"));
        EXPECT_EQ(take(tree.path("mnt/dangling")).text, tree.path("mnt/.Trash-0/files/dangling"));
    });
    EXPECT_TRUE(bytesOf(tree.path("mnt/.Trash-0/info/a file.trashinfo"))
                    .starts_with("[Trash Info]\nPath=sub/a%20file\n"));
    EXPECT_EQ(bytesOf(tree.path("mnt/.Trash-0/files/a file")), "content");
    EXPECT_TRUE(image->unmount(tree.path("mnt"))) << "nothing of it was kept open";
}

TEST_F(TrashOfDrivesTest, ReadOnlyDrivesAndMemoryHaveNoTrash) {
    tree.file("mnt/sub/file", "content");
    tree.link("mnt/dangling", "nowhere");
    ASSERT_TRUE(image->unmount(tree.path("mnt")));
    image->mount(tree.path("mnt"), "ro");
    tree.folder("memory");
    ASSERT_EQ(::mount("none", tree.path("memory").c_str(), "tmpfs", 0, "size=1m"), 0);
    tree.file("memory/sub/file", "content");
    const TreeDump before = dumpWithoutTrash(tree);
    withOwnHome(tree, [&] {
        for (const char* rel : {"mnt/sub/file", "mnt/sub", "mnt/dangling", "memory/sub/file"})
            EXPECT_EQ(take(tree.path(rel)).kind, Kind::unsupported) << rel;
    });
    EXPECT_EQ(dumpWithoutTrash(tree), before);
    EXPECT_EQ(::umount(tree.path("memory").c_str()), 0);
}

TEST_F(TrashOfDrivesTest, AnOrdinaryUserNeedsARightToTheTopOfTheDrive) {
    tree.file("mnt/own/file", "content");
    giveToOrdinaryUser(tree.path());
    ASSERT_EQ(::chown(tree.path("mnt").c_str(), 0, 0), 0); // may not be written
    const TreeDump before = dumpTree(tree.path("mnt"));
    const auto take_ = [&](Kind expected) {
        withOwnHome(tree, [&] {
            becomeOrdinaryUser();
            const TrashResult result = take(tree.path("mnt/own/file"));
            EXPECT_EQ(result.kind, expected) << result.text;
        });
    };
    take_(Kind::unsupported);
    EXPECT_EQ(dumpTree(tree.path("mnt")), before);

    tree.folder("mnt/.Trash"); // the administrator's, for everybody
    tree.chmod("mnt/.Trash", 01777);
    take_(Kind::moved);
    EXPECT_EQ(bytesOf(tree.path("mnt/.Trash/65534/files/file")), "content");
}

TEST_F(TrashOfDrivesTest, AFolderThatMayNotBeChangedKeepsWhatItHolds) {
    tree.file("mnt/locked/file", "content");
    tree.file("locked/file", "content");
    giveToOrdinaryUser(tree.path());
    for (const char* rel : {"mnt/locked", "locked"})
        ASSERT_EQ(::chown(tree.path(rel).c_str(), 0, 0), 0);
    const TreeDump before = dumpWithoutTrash(tree); // a Trash on the drive would show in it
    withOwnHome(tree, [&] {
        becomeOrdinaryUser();
        for (const char* rel : {"mnt/locked/file", "locked/file"}) {
            const TrashResult result = take(tree.path(rel));
            EXPECT_EQ(result.kind, Kind::failed) << rel;
            EXPECT_EQ(result.text, "Permission denied") << rel;
        }
    });
    EXPECT_EQ(dumpWithoutTrash(tree), before);
}

TEST_F(GioTrashTest, WhatTookThePlaceOfTheCheckedObjectIsNotTaken) {
    const std::pair<const char*, std::function<void()>> swaps[] = {
        {"a link to the object", [&] { tree.link("place/item", tree.path("away")); }},
        {"a link to another folder", [&] { tree.link("place/item", tree.path("other")); }},
        {"another folder", [&] { tree.folder("place/item"); }},
        {"nothing", [] {}},
        {"a link as parent folder",
         [&] {
             tree.rename("place", "moved");
             tree.link("place", tree.path("other"));
         }},
    };
    for (const auto& [what, swap] : swaps) {
        tree.file("place/item/inside", "content");
        tree.file("other/item/inside", "another");
        const Item item = itemAt(tree.path("place/item"));
        tree.rename("place/item", "away");
        swap();
        const TreeDump before = dumpTree(tree.path());
        SCOPED_TRACE(what);
        withOwnHome(tree, [&] { EXPECT_EQ(GioTrash().take(item).kind, Kind::gone); });
        EXPECT_EQ(dumpTree(tree.path()), before);
        for (const char* used : {"place", "moved", "other", "away"})
            tree.remove(used);
    }
}

} // namespace
} // namespace quarrydex
