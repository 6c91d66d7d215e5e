#include "QuarrydexActions/Protected.h"

#include "QuarrydexActions/File.h"

#include "tests/fakes/FakeProtectedPaths.h"
#include "tests/fakes/FakeRename.h"
#include "tests/fakes/FakeTrash.h"

#include <algorithm>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

struct ProtectedTest : testing::Test {
    FakeTrash trash;
    FakeRename rename;
    FakeProtectedPaths paths;
    ActionsPlatform platform{trash, rename, paths};

    [[nodiscard]] bool isProtected(std::string_view path) const {
        return File::isProtected(path, platform);
    }
};

TEST_F(ProtectedTest, FixedPlacesAreProtectedAndWhatLiesBelowThemIsNot) {
    for (const char* path : {"/",
                             "/Applications",
                             "/Users",
                             "/Volumes/Backup",
                             "/Users/ann",
                             "/Users/ann/Documents",
                             "/System/Library/x",
                             "/System/Volumes/Data/Users/ann",
                             "/System/Volumes/Data/",
                             "/srv",
                             "/home",
                             "/home/ann",
                             "/home/ann/Videos",
                             "/home/ann/Sites",
                             "/root",
                             "/root/Templates",
                             "/usr/share/x/y",
                             "/etc/passwd",
                             "/boot/grub",
                             "/lib/x",
                             "/lib64/x",
                             "/libx32",
                             "/proc/1",
                             "/sys/class/x",
                             "/dev/sda",
                             "/bin/sh",
                             "/sbin/init",
                             "/cores/x",
                             "/media",
                             "/media/ann",
                             "/mnt/disk",
                             "/run/media",
                             "/run/media/ann",
                             "/a.txt",
                             "//home///ann//"})
        EXPECT_TRUE(isProtected(path)) << path;
    for (const char* path : {"/Users/ann/Documents/x",
                             "/Applications/Some.app",
                             "/Users/ann/documents",
                             "/Users/ann/Videos",
                             "/Volumes/Backup/x",
                             "/Volumes/Backup/Documents/x",
                             "/home/ann/Music/x",
                             "/home/ann/x",
                             "/home/ann/.config",
                             "/root/x",
                             "/root/Music/x",
                             "/srv/x",
                             "/media/ann/x",
                             "/mnt/disk/x",
                             "/run/media/ann/USB",
                             "/run/user/x",
                             "/var/lib",
                             "/opt/x",
                             "/tmp/x",
                             "/System/Volumes/Data/Users/ann/x",
                             "/tmp/usr/bin",
                             "/Usr/x"})
        EXPECT_FALSE(isProtected(path)) << path;
}

TEST_F(ProtectedTest, WhatIsMountedIsProtectedAndItsContentsAreNot) {
    paths.mountPoints = {"/mnt", "/data/disk", "/run/media/ann/USB", "/data/sub"};
    for (const char* path : {"/mnt", "/data/disk", "/run/media/ann/USB", "/data/sub/"})
        EXPECT_TRUE(isProtected(path)) << path;
    // A drive mounted on the folder for mounts itself: its files are the user's own.
    for (const char* path : {"/mnt/x", "/data/disk/x", "/run/media/ann/USB/x", "/data/subway"})
        EXPECT_FALSE(isProtected(path)) << path;
}

TEST_F(ProtectedTest, LinksOnTheWayDoNotHideAProtectedFolder) {
    paths.links = {{"/data/link", "/home/ann"}, {"/data/etc", "/etc/x"}, {"/data/m", "/srv/m"}};
    paths.mountPoints = {"/srv/m/disk"};
    for (const char* path : {"/data/link/Documents", "/data/etc/hosts", "/data/m/disk"})
        EXPECT_TRUE(isProtected(path)) << path;
    for (const char* path : {"/data/link", "/data/link/x", "/data/etc", "/data/m/x"})
        EXPECT_FALSE(isProtected(path)) << path; // a link itself may go
}

// --- The rules once more, as plainly as possible
// --------------------------------------------------

struct Machine {
    std::set<std::string> mounts;
    std::string home;
    std::set<std::string> named;
};

std::vector<std::string> componentsOf(const std::string& path) {
    std::vector<std::string> out;
    std::istringstream in(path);
    for (std::string piece; std::getline(in, piece, '/');)
        if (!piece.empty() && piece != ".")
            out.push_back(piece);
    return out;
}

bool isOneOf(const std::string& name, const std::vector<std::string>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isOfUsers(const std::string& name) {
    return isOneOf(name, {"Desktop", "Documents", "Downloads", "Library", "Movies", "Music",
                          "Pictures", "Public", "Applications", "Sites"});
}

bool isOfDesktops(const std::string& name) {
    return isOfUsers(name) || name == "Videos" || name == "Templates";
}

bool isProtectedPlainly(const std::string& path, const Machine& machine) {
    if (path.empty() || path[0] != '/')
        return true;
    const std::vector<std::string> c = componentsOf(path);
    const std::size_t k = c.size();
    if (isOneOf("..", c) || k < 2)
        return true;
    if (isOneOf(c[0],
                {"System", "usr", "bin", "sbin", "dev", "cores", "etc", "boot", "proc", "sys"}))
        return true;
    if (c[0].substr(0, 3) == "lib")
        return true;
    if (k == 2 && isOneOf(c[0], {"Volumes", "Users", "home"}))
        return true;
    if (k == 2 && (c[0] == "media" || c[0] == "mnt") && machine.mounts.count("/" + c[0]) == 0)
        return true;
    if (c[0] == "run" && c[1] == "media" &&
        (k == 2 || (k == 3 && machine.mounts.count("/run/media") == 0)))
        return true;
    if (k == 3 && c[0] == "Users" && isOfUsers(c[2]))
        return true;
    if (k == 3 && c[0] == "home" && isOfDesktops(c[2]))
        return true;
    if (k == 2 && c[0] == "root" && isOfDesktops(c[1]))
        return true;

    std::string clean;
    for (const std::string& name : c)
        clean += "/" + name;
    const std::size_t last = clean.rfind('/');
    return machine.mounts.count(clean) != 0 || machine.named.count(clean) != 0 ||
           clean == machine.home || machine.home.compare(0, clean.size() + 1, clean + "/") == 0 ||
           (clean.substr(0, last) == machine.home && isOfDesktops(clean.substr(last + 1)));
}

TEST_F(ProtectedTest, AgreesWithThePlainRulesOnGeneratedPaths) {
    const Machine machine{{"/mnt", "/data/disk", "/media/ann/USB", "/home/ann/x/Music"},
                          "/data/people/ann",
                          {"/data/people/ann/Musik", "/srv/Music", "/home/ann/x"}};
    paths.mountPoints = machine.mounts;
    paths.homeFolders = {{machine.home, {machine.named.begin(), machine.named.end()}}};

    const std::vector<std::string> first = {
        "System", "usr",  "bin",          "sbin",  "dev",  "cores", "etc", "boot",
        "proc",   "sys",  "lib",          "lib64", "libs", "li",    "Lib", "Users",
        "home",   "root", "run",          "media", "mnt",  "data",  "srv", "Volumes",
        "users",  "var",  "Applications", "usr ",  "tmp",  "..."};
    const std::vector<std::string> others = {
        "ann",       "Desktop",   "Documents", "Downloads", "Library",      "Movies",
        "Music",     "Pictures",  "Public",    "Sites",     "Applications", "Videos",
        "Templates", "documents", "Musik",     "people",    "disk",         "USB",
        "x",         "media",     "lib",       "usr",       "home",         "caf\xE9"};
    const std::vector<std::string> separators = {"/", "/", "/", "/", "//", "/./"};
    std::mt19937 random(7);
    const auto pick = [&](const std::vector<std::string>& from) {
        return from[random() % from.size()];
    };

    int protectedCount = 0;
    constexpr int tries = 50'000;
    for (int i = 0; i < tries; ++i) {
        std::string path = pick(separators) + pick(first);
        for (auto more = random() % 5; more > 0; --more)
            path += pick(separators) + (random() % 60 == 0 ? ".." : pick(others));
        path += random() % 8 == 0 ? "/" : "";
        path = random() % 100 == 0 ? path.substr(1) : path;
        const bool expected = isProtectedPlainly(path, machine);
        protectedCount += expected ? 1 : 0;
        ASSERT_EQ(isProtected(path), expected) << path;
    }
    EXPECT_GT(protectedCount, tries / 5);
    EXPECT_LT(protectedCount, tries * 4 / 5);
}

} // namespace
} // namespace quarrydex
