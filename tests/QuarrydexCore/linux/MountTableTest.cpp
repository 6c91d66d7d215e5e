#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/platform/linux/LinuxMountTable.h"
#include "QuarrydexCore/platform/linux/MountInfo.h"

#include "tests/fakes/FakeMountTable.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LoopImage.h"
#include "tests/support/TempTree.h"

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/sysmacros.h>

namespace quarrydex {
namespace {

std::vector<std::string> pathsOf(const std::vector<Mount>& mounts) {
    std::vector<std::string> out;
    for (const Mount& mount : mounts)
        out.push_back(mount.path);
    return out;
}

// --- The kernel's text --------------------------------------------------------------------------

TEST(MountTableTest, RowsAreReadWithTheirEscapes) {
    const auto mounts = parseMountInfo(
        "36 35 8:17 / /media/ann/My\\040Disk\\134\\011\\012x rw,noatime master:1 shared:2 - ext4 "
        "/dev/sdb1 ro,errors=continue\n"
        "37 35 0:44 /@home /home rw - btrfs /dev/sda2 rw,subvol=/@home,rot\n"
        "38 35 0:45 / /n rw - nfs4 nas:/export rw\n"
        "39 35 0:46 / /empty rw -  rw,x\n" // a type is missing: no row
        "40 35 0:47 / /source rw - tmpfs  rw\n"
        "41 35 0:48 / /dash-name rw propagate_from:1 - fuse.sshfs ann@host:/x rw\n"
        "42 35 0:49 /a\\9zz /odd\\777\\040 rw - vfat \\\\host rw");
    ASSERT_EQ(mounts.size(), 6U);
    const Mount disk{.id = 36,
                     .parentId = 35,
                     .serial = 0,
                     .path = "/media/ann/My Disk\\\t\nx",
                     .root = "/",
                     .fsType = "ext4",
                     .source = "/dev/sdb1",
                     .options = "rw,noatime,ro,errors=continue",
                     .device = makedev(8, 17),
                     .readOnly = true,
                     .isPseudo = false,
                     .isNetwork = false};
    EXPECT_EQ(mounts[0], disk);
    EXPECT_EQ(mounts[1].root, "/@home");
    EXPECT_FALSE(mounts[1].readOnly); // "rot" is another option
    EXPECT_TRUE(mounts[2].isNetwork);
    EXPECT_TRUE(mounts[3].isPseudo);
    EXPECT_EQ(mounts[3].source, "");
    EXPECT_TRUE(mounts[4].isNetwork);
    EXPECT_EQ(mounts[5].root, "/a\\9zz");
    EXPECT_EQ(mounts[5].path, "/odd\\777 ");
    EXPECT_EQ(mounts[5].source, "\\\\host");
}

TEST(MountTableTest, RowCutAnywhereIsLeftOutOrWhole) {
    const std::string line = "36 35 8:17 / /a rw shared:2 - ext4 /dev/sdb1 rw";
    const std::size_t lastField = line.rfind(' ') + 1;
    for (std::size_t size = 0; size < lastField; ++size)
        EXPECT_EQ(parseMountInfo(line.substr(0, size)).size(), 0U) << size;
    for (const char* bad : {"x 35 8:17 / /a rw - ext4 s rw", "36 35 8 / /a rw - ext4 s rw",
                            "36 35 8:17 / a rw - ext4 s rw", "- - - - - - - - - -",
                            "99999999999999999999 35 8:17 / /a rw - ext4 s rw", "\\", ""})
        EXPECT_EQ(parseMountInfo(std::string(bad) + "\n" + line).size(), 1U) << bad;
}

// --- Rules --------------------------------------------------------------------------------------

TEST(MountTableTest, ChangesAreTheMountsThatCameAndWent) {
    const Mount a = aMount(1, "/a");
    const auto with = [&](const std::function<void(Mount&)>& change) {
        Mount mount = a;
        change(mount);
        return mount;
    };

    const struct {
        const char* what;
        Mount now;
        bool isOther;
    } cases[] = {
        {"nothing", a, false},
        {"options", with([](Mount& m) { m.options = "ro", m.readOnly = true; }), false},
        {"source", with([](Mount& m) { m.source = "/dev/renamed"; }), false},
        {"id", with([](Mount& m) { m.id = 2; }), true},
        {"moved", with([](Mount& m) { m.path = "/b"; }), true},
        {"device", with([](Mount& m) { m.device = 9; }), true},
        {"serial", with([](Mount& m) { m.serial = 9; }), true},
        {"part", with([](Mount& m) { m.root = "/sub"; }), true},
    };

    for (const auto& c : cases) {
        const MountChanges changes =
            changesBetween(std::vector{a, aMount(7, "/x")}, std::vector{aMount(7, "/x"), c.now});
        EXPECT_EQ(changes.added, c.isOther ? std::vector{c.now} : std::vector<Mount>{}) << c.what;
        EXPECT_EQ(changes.removed, c.isOther ? std::vector{a} : std::vector<Mount>{}) << c.what;
    }
}

TEST(MountTableTest, DrivesAreBelowTheirPlaces) {
    const struct {
        const char* path;
        bool isPlace, isDrive;
    } cases[] = {
        {"/", false, false},           {"/Volumes", true, false},
        {"/Volumes/X", true, true},    {"/VolumesX", false, false},
        {"/media", true, false},       {"/media/ann", true, true},
        {"/mnt", true, false},         {"/mnt/a/b", true, true},
        {"/mnt2/a", false, false},     {"/run/media", true, false},
        {"/run", false, false},        {"/run/media/ann/X", true, true},
        {"/home/mnt/x", false, false}, {"/run/medias", false, false},
    };

    for (const auto& c : cases) {
        EXPECT_EQ(isExternalPlace(c.path), c.isPlace) << c.path;
        EXPECT_EQ(isExternalDrive(aMount(1, c.path)), c.isDrive) << c.path;
    }
}

TEST(MountTableTest, EveryDriveIsOfferedOnce) {
    const Drives drives = drivesOf(parseMountInfo(
        "20 1 0:30 /@ / rw - btrfs /dev/sda2 rw\n"
        "21 20 0:30 /@home /home rw - btrfs /dev/sda2 rw\n"
        "22 20 0:5 / /proc rw - proc proc rw\n"
        "23 20 8:1 / /boot rw - ext4 /dev/sda1 rw\n"
        "24 20 0:40 / /var/lib/docker/overlay2/x/merged rw - overlay overlay rw\n"
        "25 20 0:41 / /net rw - nfs4 nas:/all rw\n" // a share outside the places
        "26 20 0:42 / /mnt/nas rw - nfs4 nas:/export rw\n"
        "27 20 0:43 / /mnt/ram rw - tmpfs tmpfs rw\n"
        "28 20 8:17 / /run/media/ann/USB rw - vfat /dev/sdb1 rw\n"
        "29 20 8:17 / /srv/usb rw - vfat /dev/sdb1 rw\n"     // the same stick again
        "30 20 8:1 /grub /mnt/grub rw - ext4 /dev/sda1 rw\n" // a folder of /boot again
        "31 20 8:33 / /mnt/under rw - ext4 /dev/sdc1 rw\n"
        "32 31 8:34 / /mnt/under rw - xfs /dev/sdc2 rw\n" // lies over the one before
        "33 20 8:35 / /mnt/hidden rw - ext4 /dev/sdc3 rw\n"
        "34 33 0:44 / /mnt/hidden rw - tmpfs tmpfs rw\n" // hides a drive
        "35 20 0:45 / /tmp/.mount_x rw - fuse.x.AppImage x.AppImage rw\n"
        "36 20 8:49 / /mnt rw - ext4 /dev/sdd1 rw\n")); // a place itself: no removable drive
    EXPECT_EQ(pathsOf(drives.internal), (std::vector<std::string>{"/", "/boot", "/home", "/mnt"}));
    EXPECT_EQ(pathsOf(drives.external),
              (std::vector<std::string>{"/mnt/nas", "/mnt/under", "/run/media/ann/USB"}));
    EXPECT_EQ(drives.external[1].fsType, "xfs");
}

TEST(MountTableTest, SubvolumeAtItsOwnPlaceIsNoDouble) {
    const Drives drives = drivesOf(parseMountInfo(
        "20 1 0:30 / / rw - btrfs /dev/sda2 rw\n"
        "21 20 0:30 /home /home rw - btrfs /dev/sda2 rw\n" // hides the folder of this name
        "22 20 0:30 /home /mnt/home rw - btrfs /dev/sda2 rw\n"
        "23 20 0:31 / /live rw - overlay overlay rw\n"));
    EXPECT_EQ(pathsOf(drives.internal), (std::vector<std::string>{"/", "/home"}));
    EXPECT_EQ(pathsOf(drives.external), std::vector<std::string>{});
    // Where the whole system is an overlay, it is the system's drive all the same.
    EXPECT_EQ(pathsOf(drivesOf(parseMountInfo("1 0 0:9 / / rw - overlay o rw")).internal),
              std::vector<std::string>{"/"});
}

TEST(MountTableTest, PathLiesOnTheLastMountAboveIt) {
    std::vector<Mount> mounts = {aMount(1, "/"), aMount(2, "/home"), aMount(3, "/home/ann/x"),
                                 aMount(4, "/home")};
    const auto idOf = [&](const char* path) {
        const Mount* mount = mountOf(mounts, path);
        return mount == nullptr ? 0 : mount->id;
    };
    EXPECT_EQ(idOf("/"), 1U);
    EXPECT_EQ(idOf("/homes"), 1U);
    EXPECT_EQ(idOf("/home"), 4U);
    EXPECT_EQ(idOf("/home/ann/xy"), 4U);
    EXPECT_EQ(idOf("/home/ann/x/y"), 3U);
    mounts.clear();
    EXPECT_EQ(idOf("/"), 0U);
}

// --- The machine's own table --------------------------------------------------------------------

/// Collects what an observer is told of one path.
class Notices {
  public:
    explicit Notices(std::string path) : path_(std::move(path)) {}

    MountTable::Observer observer() {
        return [this](const std::vector<Mount>& added, const std::vector<Mount>& removed) {
            const MutexLock held(lock_);
            for (const Mount& mount : removed)
                if (mount.path == path_)
                    texts_.push_back("-" + mount.fsType);
            for (const Mount& mount : added)
                if (mount.path == path_)
                    texts_.push_back("+" + mount.fsType);
            changed_.notifyAll();
        };
    }

    /// The first `count` notices; fewer when they do not come.
    std::vector<std::string> first(std::size_t count) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        const MutexLock held(lock_);
        while (texts_.size() < count && std::chrono::steady_clock::now() < until)
            changed_.waitUntil(lock_, until);
        return texts_;
    }

  private:
    const std::string path_;
    Mutex lock_;
    CondVar changed_;
    std::vector<std::string> texts_ QDX_GUARDED_BY(lock_);
};

TEST(MountTableTest, ObserverHearsOfMountsAndUnmounts) {
    QDX_NEEDS(mountLack());
    TempTree tree;
    tree.folder("here \\and there"); // the kernel escapes the space and the backslash
    const std::string path = tree.path("here \\and there");
    LinuxMountTable table;
    Notices notices(path);
    const auto subscription = table.observe(notices.observer());
    ASSERT_EQ(::mount("none", path.c_str(), "tmpfs", 0, nullptr), 0);
    EXPECT_EQ(notices.first(1), std::vector<std::string>{"+tmpfs"});
    ASSERT_EQ(::mount("none", path.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const std::vector<Mount> mounts = table.mounts();
    EXPECT_TRUE(mountOf(mounts, path)->readOnly);
    ASSERT_EQ(::umount(path.c_str()), 0);
    EXPECT_EQ(notices.first(2), (std::vector<std::string>{"+tmpfs", "-tmpfs"}));
}

TEST(MountTableTest, SubscriptionCanEndWhileMountsComeAndGo) {
    QDX_NEEDS(mountLack());
    TempTree tree;
    tree.folder("mnt");
    const std::string path = tree.path("mnt");
    LinuxMountTable table;
    std::thread mounter([&] {
        for (int i = 0; i < 40; ++i) {
            EXPECT_EQ(::mount("none", path.c_str(), "tmpfs", 0, nullptr), 0);
            EXPECT_EQ(::umount(path.c_str()), 0);
        }
    });
    for (int i = 0; i < 40; ++i) {
        int calls = 0; // read and written by the observer alone until it has ended
        table.observe([&](const auto&, const auto&) { ++calls; }).reset();
        EXPECT_GE(calls, 0);
    }
    mounter.join();
}

TEST(MountTableTest, DrivePutBackAtOnceIsAnotherMount) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    LoopImage image(tree.path("image"));
    const int result = runInChild([&] {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", "/mnt", "tmpfs", 0, nullptr) != 0)
            return childSkipped;
        const LinuxMountTable table;
        std::vector<Mount> seen;
        for (int i = 0; i < 2; ++i) {
            image.mount("/mnt/drive");
            const std::vector<Mount> mounts = table.mounts();
            seen.push_back(*mountOf(mounts, "/mnt/drive"));
            EXPECT_TRUE(image.unmount("/mnt/drive"));
        }
        if (seen[0].serial == 0)
            return childSkipped;
        EXPECT_EQ(seen[0].path, seen[1].path);
        EXPECT_FALSE(seen[0].isSameMount(seen[1]));
        return 0;
    });
    if (result == childSkipped)
        GTEST_SKIP() << "not run: this kernel gives mounts no lasting ids";
}

} // namespace
} // namespace quarrydex
