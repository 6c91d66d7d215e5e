#include "QuarrydexActions/platform/linux/LinuxProtectedPaths.h"

#include "QuarrydexActions/Protected.h"
#include "QuarrydexCore/platform/Platform.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/support/LoopImage.h"
#include "tests/support/TempTree.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mount.h>

namespace quarrydex {
namespace {

/// A machine in a folder: homes below "homes", one elsewhere, one of root's.
struct LinuxProtectedPathsTest : testing::Test {
    TempTree tree;
    FakeMountTable mounts;
    FakeAppFolders folders{tree.path("homes/ann")};
    LinuxProtectedPaths paths{
        mounts, folders, {tree.path("homes"), tree.path("boss"), tree.path("passwd")}};

    LinuxProtectedPathsTest() {
        tree.folder("homes");
        tree.folder("homes/ann");
    }

    [[nodiscard]] bool isProtected(const std::string& rel) const {
        return isProtectedPath(tree.path(rel), paths);
    }
};

TEST_F(LinuxProtectedPathsTest, FoldersNamedInAHomeAreProtected) {
    tree.file("homes/ann/.config/user-dirs.dirs", "XDG_MUSIC_DIR=\"$HOME/Musik\"\n"
                                                  "XDG_VIDEOS_DIR=\"" +
                                                      tree.path("data/films") +
                                                      "\"\n"
                                                      "XDG_DOWNLOAD_DIR=\"$HOME/a//b/\"\n"
                                                      "XDG_DESKTOP_DIR=\"$HOME\"\n");
    tree.file("homes/bob/.config/user-dirs.dirs",
              "XDG_MUSIC_DIR=\"$HOME/Musique\"\nXDG_PICTURES_DIR=\"" +
                  tree.path("homes/ann/private") + "\"\n");
    tree.file("passwd", "bob:x:1001:1001::" + tree.path("homes/bob") + ":/bin/sh\n");
    tree.file("boss/.config/user-dirs.dirs", std::string_view("XDG_MUSIC_DIR=\"$HOME/Musica\""));
    for (const char* rel :
         {"homes/ann", "homes/ann/Musik", "homes/ann/a/b", "data/films", "homes/ann/Documents",
          "homes/bob/Musique", "boss", "boss/Musica", "boss/Videos"})
        EXPECT_TRUE(isProtected(rel)) << rel;
    for (const char* rel : {"homes/ann/Musique", "homes/ann/a", "data", "homes/ann/Musik/x",
                            "homes/bob/Musik", "boss/Musik", "homes/ann/private"})
        EXPECT_FALSE(isProtected(rel)) << rel; // nobody else's file speaks for ann's home
}

TEST_F(LinuxProtectedPathsTest, HomesElsewhereAreFoundByThePasswordFile) {
    tree.file("passwd", "daemon:x:1:1::" + tree.path("srv/daemon") + ":/bin/sh\n" +
                            "carl:x:1000:1000:Carl,,,:" + tree.path("srv/people/carl") +
                            ":/bin/sh\n:::::\nshort:x:1001\n"
                            "dora:x:99999999999:1::" +
                            tree.path("srv/dora") + ":\nemil:x:1002:1::" + tree.path("srv/emil"));
    tree.folder("srv");
    for (const char* rel : {"srv", "srv/people", "srv/people/carl", "srv/people/carl/Music"})
        EXPECT_TRUE(isProtected(rel)) << rel;
    for (const char* rel : {"srv/daemon", "srv/dora", "srv/people/carl/x", "srv/emil"})
        EXPECT_FALSE(isProtected(rel)) << rel;
    EXPECT_EQ(peoplesHomes("a:x:1000:1::/h/a:\nb:x:65534:1::/nobody:\nc:x:-5:1::/c:\n"
                           "d:x:1000x:1::/d:\ne:x:1001:1::relative:\nf:x:1001:1::/f:"),
              (std::vector<std::string>{"/h/a", "/f"}));
}

TEST_F(LinuxProtectedPathsTest, LinksLeadNoWayAroundTheRules) {
    tree.folder("real");
    tree.folder("real/Music");
    tree.remove("homes/ann");
    tree.link("homes/ann", tree.path("real")); // a home that was moved to a larger drive
    tree.link("shortcut", tree.path("homes"));
    for (const char* rel :
         {"real", "real/Music", "homes/ann/Music", "shortcut/ann", "shortcut/ann/Music"})
        EXPECT_TRUE(isProtected(rel)) << rel;
    EXPECT_FALSE(isProtected("shortcut"));
    EXPECT_FALSE(isProtected("shortcut/ann/x"));
    EXPECT_EQ(paths.resolved(tree.path("shortcut/ann/x")), tree.path("real/x"));
    EXPECT_EQ(paths.resolved(tree.path("gone/x")), tree.path("gone/x"));
    EXPECT_EQ(paths.resolved("/"), "/");
}

TEST_F(LinuxProtectedPathsTest, HostileUserDirsDoNoHarm) {
    const std::string path = "homes/ann/.config/user-dirs.dirs";
    std::mt19937 random(11);
    const std::string_view pieces[] = {"XDG_", "_DIR", "=",     "\"",      "$HOME", "/", "..",
                                       "\\",   "\n",   "MUSIC", {"\0", 1}, "\xFF",  " "};
    for (int i = 0; i < 300; ++i) {
        std::string text;
        for (auto n = random() % 60; n > 0; --n)
            text += pieces[random() % std::size(pieces)];
        tree.file(path, text);
        EXPECT_TRUE(isProtected("homes/ann/Music")) << text;
        EXPECT_FALSE(isProtected("homes/ann/an ordinary file")) << text;
    }
    tree.remove(path);
    tree.file(path, std::size_t{1} << 30); // sparse; larger than any that is read
    EXPECT_FALSE(isProtected("homes/ann/x"));
    tree.remove(path);
    tree.fifo(path); // nobody writes to it: reading must not wait
    EXPECT_FALSE(isProtected("homes/ann/x"));
    tree.remove(path);
    tree.link(path, "/dev/zero");
    EXPECT_FALSE(isProtected("homes/ann/x"));
    EXPECT_TRUE(isProtected("homes/ann"));
}

TEST_F(LinuxProtectedPathsTest, MountPointsAreKnownByTheTableAndByTheirDevice) {
    mounts.set({aMount(1, tree.path("listed"))});
    tree.folder("plain");
    EXPECT_TRUE(paths.isMountPoint(tree.path("listed")));
    EXPECT_FALSE(paths.isMountPoint(tree.path("plain")));
    EXPECT_FALSE(paths.isMountPoint(tree.path("gone")));

    QDX_NEEDS(mountLack());
    tree.folder("memory");
    tree.folder("bound");
    ASSERT_EQ(::mount("none", tree.path("memory").c_str(), "tmpfs", 0, "size=1m"), 0);
    ASSERT_EQ(::mount(tree.path("plain").c_str(), tree.path("bound").c_str(), nullptr, MS_BIND, ""),
              0);
    tree.folder("memory/sub");
    EXPECT_TRUE(paths.isMountPoint(tree.path("memory"))); // by its device: the table has no row
    EXPECT_FALSE(paths.isMountPoint(tree.path("memory/sub")));
    const LinuxProtectedPaths real(systemPlatform().mounts, folders);
    EXPECT_TRUE(real.isMountPoint(tree.path("bound"))); // by the table: the device is the same
    EXPECT_EQ(::umount(tree.path("bound").c_str()), 0);
    EXPECT_EQ(::umount(tree.path("memory").c_str()), 0);
}

} // namespace
} // namespace quarrydex
