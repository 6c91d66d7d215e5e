#include "QuarrydexCore/platform/linux/LinuxMountTable.h"
#include "QuarrydexCore/platform/linux/LinuxVolumeInfo.h"
#include "QuarrydexCore/platform/linux/TimedAnswer.h"
#include "QuarrydexCore/platform/linux/VolumeProbe.h"

#include "tests/fakes/FakeMountTable.h"
#include "tests/support/LoopImage.h"
#include "tests/support/TempTree.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace quarrydex {
namespace {

constexpr const char* aUuid = "0f2c1a77-5b1e-4c3d-9e8f-a1b2c3d4e5f6";
const std::optional<std::string> none;

std::uint64_t deviceOf(const std::string& path) {
    struct stat st {};

    EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
    return st.st_dev;
}

TEST(VolumeInfoTest, DriveIsKnownByWhatIsWrittenOnIt) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    tree.folder("elsewhere");
    LoopImage image(tree.path("image"), "-L MUSIC -U " + std::string(aUuid));
    const LinuxMountTable table;
    const LinuxVolumeInfo volumes(table);
    for (const char* place : {"a", "b"}) { // it may come back at another mount point
        const std::string path = tree.path(place);
        image.mount(path);
        tree.file(std::string(place) + "/sub/file");
        tree.link("link", path + "/sub");
        for (const std::string& inside :
             {path, path + "/sub", path + "/sub/file", tree.path("link")}) {
            EXPECT_EQ(volumes.fsType(inside), "ext4") << inside;
            EXPECT_TRUE(volumes.isDiskImage(inside)) << inside;
        }
        for (const std::string& inside : {path, path + "/sub", tree.path("link")}) {
            EXPECT_EQ(volumes.uuid(inside), aUuid) << inside;
            EXPECT_EQ(volumes.label(inside), "MUSIC") << inside;
        }
        tree.remove("link");
        EXPECT_EQ(volumes.uuid(path + "/missing"), none);
        EXPECT_TRUE(image.unmount(path)); // nothing of it was kept open
    }
}

TEST(VolumeInfoTest, PartOfAVolumeIsAnotherVolume) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    LoopImage image(tree.path("image"), "-U " + std::string(aUuid));
    image.mount(tree.path("all"));
    std::vector<std::optional<std::string>> uuids;
    const LinuxMountTable table;
    const LinuxVolumeInfo volumes(table);
    for (const char* part : {"one", "two", "one"}) {
        const std::string source = tree.path("all/") + part;
        const std::string place = tree.path("part") + std::to_string(uuids.size());
        (void)::mkdir(source.c_str(), 0755); // there already the second time
        ASSERT_EQ(::mkdir(place.c_str(), 0755), 0);
        ASSERT_EQ(::mount(source.c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0);
        uuids.push_back(volumes.uuid(place));
        EXPECT_EQ(::umount2(place.c_str(), MNT_DETACH), 0);
    }
    ASSERT_TRUE(uuids[0] && uuids[1]);
    EXPECT_TRUE(uuids[0]->starts_with(std::string(aUuid) + "-"));
    EXPECT_EQ(uuids[0]->size(), 45U);
    EXPECT_NE(uuids[0], uuids[1]);
    EXPECT_EQ(uuids[0], uuids[2]);
}

TEST(VolumeInfoTest, VolumeWithoutARecordIsKnownByItsDeviceLink) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    tree.folder("links");
    LoopImage image(tree.path("image"), "-U clear"); // no UUID, as FAT has none
    const std::string path = tree.path("mnt");
    image.mount(path);
    const LinuxMountTable table;
    const LinuxVolumeInfo volumes(table, {.byUuid = tree.path("links")});
    EXPECT_EQ(volumes.uuid(path), none);
    EXPECT_EQ(volumes.label(path), "mnt"); // the mount point's name
    EXPECT_EQ(volumes.label(tree.path("mnt/lost+found")), "mnt");

    const std::vector<Mount> mounts = table.mounts();
    tree.link("links/0000-0000", "/dev/null");
    tree.link("links/1111-1111", "/nowhere");
    tree.link("links/ABCD-1234", mountOf(mounts, path)->source);
    EXPECT_EQ(volumes.uuid(path), "ABCD-1234");
    tree.remove("links/ABCD-1234");
    tree.link("links/" + std::string(48, 'x'), mountOf(mounts, path)->source);
    EXPECT_EQ(volumes.uuid(path), none); // longer than an identity may be
}

TEST(VolumeInfoTest, MemoryAndKernelFilesAreNoVolumes) {
    const LinuxMountTable table;
    const LinuxVolumeInfo volumes(table);
    EXPECT_EQ(volumes.uuid("/proc"), none);
    EXPECT_EQ(volumes.uuid("/proc/self"), none);
    EXPECT_EQ(volumes.uuid("/sys"), none);
    EXPECT_EQ(volumes.fsType("/proc/self"), "proc");
    EXPECT_FALSE(volumes.isDiskImage("/proc"));
    EXPECT_TRUE(volumes.isDiskImage("/Library/Developer/CoreSimulator/Volumes/x"));
}

TEST(VolumeInfoTest, NetworkMountIsNotAsked) {
    TempTree tree;
    tree.folder("share");
    Mount share = aMount(7, tree.path("share"), "nfs4");
    share.isNetwork = true;
    const FakeMountTable table({aMount(1, "/"), share});
    const LinuxVolumeInfo volumes(table, {.limit = std::chrono::milliseconds(0)});
    EXPECT_EQ(volumes.fsType(tree.path("share/x")), "nfs4");
    EXPECT_EQ(volumes.label(tree.path("share/x")), "share");
    EXPECT_EQ(volumes.uuid(tree.path("share")), none);
    EXPECT_FALSE(volumes.isDiskImage(tree.path("share")));
}

TEST(VolumeInfoTest, FileKeepsItsIdentityUntilItIsMadeAnew) {
    TempTree tree;
    tree.folder("a");
    const LinuxMountTable table;
    const LinuxVolumeInfo volumes(table);
    const auto before = volumes.identity(tree.path("a"));
    ASSERT_TRUE(before);
    EXPECT_EQ(before->device, deviceOf(tree.path()));
    tree.rename("a", "b");
    tree.link("link", tree.path("b"));
    EXPECT_EQ(volumes.identity(tree.path("b")), before);
    EXPECT_EQ(volumes.identity(tree.path("link")), before);
    EXPECT_FALSE(volumes.identity(tree.path("a")));
    tree.folder("a");
    EXPECT_NE(volumes.identity(tree.path("a")), before);
}

TEST(VolumeInfoTest, LoopDeviceIsFoundBelowPartsAndMappings) {
    TempTree tree; // a device folder "<n>" with its links, as the system shows them
    tree.file("devices/sda/sda1/dev", std::string_view("8:1\n"));
    tree.file("devices/loop3/loop3p1/dev", std::string_view("259:1\n"));
    const auto link = [&](const std::string& number, const std::string& device) {
        tree.link("block/" + number, tree.path("devices/" + device));
    };
    link("8:1", "sda/sda1");
    link("259:1", "loop3/loop3p1");
    link("253:0", "dm-0");
    link("253:1", "dm-1");
    link("253:2", "dm-2");
    link("253:3", "dm-3");
    tree.link("devices/dm-0/slaves/sda1", tree.path("devices/sda/sda1"));
    tree.file("devices/dm-0/dev", std::string_view("253:0\n"));
    tree.link("devices/dm-1/slaves/dm-0", tree.path("devices/dm-0"));
    tree.link("devices/dm-1/slaves/loop3p1", tree.path("devices/loop3/loop3p1"));
    tree.file("devices/dm-1/dev", std::string_view("253:1\n"));
    tree.file("devices/dm-2/dev", std::string_view("253:2\n"));
    tree.link("devices/dm-2/slaves/dm-2", tree.path("devices/dm-2")); // endless

    tree.link("devices/dm-3/slaves/dm-1", tree.path("devices/dm-1"));

    const struct {
        unsigned major, minor;
        bool isLoop;
    } cases[] = {{7, 200, true},  {8, 1, false},  {259, 1, true},  {253, 0, false}, {253, 1, true},
                 {253, 2, false}, {253, 3, true}, {100, 1, false}, {0, 0, false}};

    for (const auto& c : cases)
        EXPECT_EQ(isOnLoopDevice(tree.path("block"), makedev(c.major, c.minor)), c.isLoop)
            << c.major << ':' << c.minor;
}

// --- Questions without an answer ----------------------------------------------------------------

TEST(VolumeInfoTest, QuestionThatHangsIsGivenUp) {
    using namespace std::chrono_literals;
    const auto gate = std::make_shared<std::promise<void>>();
    const std::shared_future<void> opened = gate->get_future().share();
    const auto hanging = [opened] {
        opened.wait();
        return 1;
    };
    int asked = 0;
    const auto ended = std::make_shared<std::atomic<int>>(0);
    while (asked < 40) { // more than may be open
        EXPECT_EQ(askWithin(1ms, [=] { return hanging() + ended->fetch_add(1); }), std::nullopt);
        ++asked;
    }
    EXPECT_EQ(askWithin(20s, [] { return 2; }), std::nullopt); // not even begun
    gate->set_value();
    std::optional<int> answer;
    while (!answer) // as soon as the old ones are gone
        answer = askWithin(20s, [] { return 3; });
    EXPECT_EQ(answer, 3);
    EXPECT_LT(ended->load(), asked);
}

} // namespace
} // namespace quarrydex
