#include "QuarrydexActions/Protected.h"

#include "QuarrydexActions/File.h"

#include "tests/fakes/FakeProtectedPaths.h"
#include "tests/fakes/FakeRename.h"
#include "tests/fakes/FakeTrash.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

struct ProtectedTest : testing::Test {
    FakeTrash trash;
    FakeRename rename;
    FakeProtectedPaths paths;
    ActionsPlatform platform{trash, rename, paths};

    /// Paths with spaces between them.
    void expectAll(const std::string& list, bool areProtected) const {
        std::istringstream in(list);
        for (std::string path; in >> path;)
            EXPECT_EQ(File::isProtected(path, platform), areProtected) << path;
    }

    void expectProtected(const std::string& list) const { expectAll(list, true); }

    void expectFree(const std::string& list) const { expectAll(list, false); }
};

TEST_F(ProtectedTest, FixedPlacesAreProtectedAndWhatLiesBelowThemIsNot) {
    expectProtected("/ /Applications /Users /srv /home /root /media /run /a.txt /... "
                    "/Volumes/Backup /media/ann /mnt/disk /run/media /run/media/ann");
    expectFree(
        "/Volumes/Backup/x /Volumes/Backup/Documents/x /media/ann/x /mnt/disk/x "
        "/run/media/ann/USB /run/user/x /srv/x /var/lib /opt/x /tmp/x /Applications/Some.app");
}

TEST_F(ProtectedTest, TheSystemIsProtectedToItsLastFile) {
    expectProtected(
        "/System/Library/x /usr/share/x/y /etc/passwd /boot/grub /lib/x /lib64/x /libx32 "
        "/libs/x/y /proc/1 /sys/class/x /dev/sda /bin/sh /sbin/init /cores/x");
    expectFree("/tmp/usr/bin /Usr/x /li/x /Lib/x /users/ann /home/x/lib");
}

TEST_F(ProtectedTest, HomesAreProtectedWithTheirFolders) {
    paths.homeFolders = {{"/data/people/ann", {"/data/people/ann/Musik", "/srv/Music"}}};
    for (const char* name : {"Desktop", "Documents", "Downloads", "Library", "Movies", "Music",
                             "Pictures", "Public", "Applications", "Sites", "Videos", "Templates"})
        for (const std::string home : {"/Users/ann", "/home/ann", "/root", "/data/people/ann"}) {
            const bool isOfDesktops = name == std::string("Videos") || name[0] == 'T';
            SCOPED_TRACE(name);
            expectProtected(home);
            expectAll(home + "/" + name, home != "/Users/ann" || !isOfDesktops);
            expectFree(home + "/" + name + "/x " + home + "/x " + home + "/.config " + home +
                       "/documents " + home + "/a/" + name);
        }
    expectProtected("/data/people /data/people/ann/Musik /srv/Music");
    expectFree(
        "/data/people/bob /data/people/anna /data/people/ann/Musik/x /srv/Music/x /srv/Musik");
}

TEST_F(ProtectedTest, SpellingsOfAPathAreOnePath) {
    expectProtected("//home///ann// /home/./ann /System/Volumes/Data/Users/ann "
                    "/System/Volumes/Data/ home/ann/x /tmp/../x /tmp/x/..");
    expectFree("/System/Volumes/Data/Users/ann/x //home//ann/./x/ /tmp/..x");
}

TEST_F(ProtectedTest, WhatIsMountedIsProtectedAndItsContentsAreNot) {
    paths.mountPoints = {"/mnt", "/data/disk", "/run/media/ann/USB", "/data/sub"};
    expectProtected("/mnt /data/disk /run/media/ann/USB /data/sub/ /media/x /run/media/x");
    // A drive mounted on the folder for mounts itself: its files are the user's own.
    expectFree("/mnt/x /data/disk/x /run/media/ann/USB/x /data/subway");
    paths.mountPoints = {"/media", "/run/media"};
    expectProtected("/media /run/media /mnt/x");
    expectFree("/media/x /run/media/x");
}

TEST_F(ProtectedTest, LinksOnTheWayDoNotHideAProtectedFolder) {
    paths.links = {{"/data/link", "/home/ann"}, {"/data/etc", "/etc/x"}, {"/data/m", "/srv/m"}};
    paths.mountPoints = {"/srv/m/disk"};
    expectProtected("/data/link/Documents /data/etc/hosts /data/m/disk");
    expectFree("/data/link /data/link/x /data/etc /data/m/x"); // a link itself may go
}

} // namespace
} // namespace quarrydex
