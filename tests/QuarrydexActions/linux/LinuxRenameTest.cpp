#include "QuarrydexActions/platform/linux/LinuxRename.h"

#include "QuarrydexCore/text/Characters.h"

#include "tests/support/AnotherUser.h"
#include "tests/support/CaseBlindFs.h"
#include "tests/support/DeniedCalls.h"
#include "tests/support/LoopImage.h"
#include "tests/support/TempTree.h"
#include "tests/support/TreeDump.h"

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace quarrydex {
namespace {

Item itemAt(const std::string& path) {
    struct stat st {};

    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return {path, st.st_dev, st.st_ino, st.st_mode & S_IFMT};
}

int rename(const std::string& path, const std::string& name) {
    return LinuxRename().perform(itemAt(path), name, {});
}

int respell(const std::string& path, const std::string& name) {
    const auto isSpelling = [lower = lowerCased(name)](std::string_view other) {
        return lowerCased(other) == lower;
    };
    return LinuxRename().perform(itemAt(path), name, {.isSpelling = isSpelling});
}

/// The system as it is, and as one that lacks what file systems may lack.
struct System {
    const char* name;
    std::function<void()> prepare;
};

const System systems[] = {
    {"the whole system", [] {}},
    {"no exclusive rename", [] { denyFlags(SYS_renameat2, 4, EINVAL); }},
    {"no such call", [] { denyFlags(SYS_renameat2, 4, ENOSYS); }},
    {"no hard links either",
     [] {
         denyFlags(SYS_renameat2, 4, EINVAL);
         denyFlags(SYS_linkat, 2, EPERM); // the folder of the new name, never 0
     }},
};

/// Every kind of object, under names that some programs stumble over.
void fill(TempTree& tree, const std::string& folder) {
    tree.file(folder + "/file", "content");
    tree.file(folder + "/full/inside", "content");
    tree.folder(folder + "/empty");
    tree.link(folder + "/dangling", "nowhere");
    tree.link(folder + "/link", "full");
    tree.fifo(folder + "/fifo");
    tree.file(folder + "/" + std::string(255, 'x'), "long");
    tree.file(folder + "/caf\xE9\n", "Latin-1");
}

const std::vector<std::string> kinds = {
    "file", "full", "empty", "dangling", "link", "fifo", std::string(255, 'x'), "caf\xE9\n"};

void expectRenames(const std::string& folder) {
    const std::string newNames[] = {"new", std::string(255, 'y'), "\xFF\xFE"};
    for (const std::string& kind : kinds)
        for (const std::string& name : newNames) {
            const TreeDump before = dumpTree(folder);
            const std::string object = describeObject(folder + "/" + kind);
            ASSERT_EQ(rename(folder + "/" + kind, name), 0) << kind << " → " << name;
            EXPECT_EQ(describeObject(folder + "/" + kind), "(gone)") << kind;
            EXPECT_EQ(describeObject(folder + "/" + name), object) << kind;
            ASSERT_EQ(rename(folder + "/" + name, kind), 0) << name << " → " << kind;
            EXPECT_EQ(dumpTree(folder), before) << kind;
        }
}

void expectNothingIsReplaced(const std::string& folder) {
    const TreeDump before = dumpTree(folder);
    for (const std::string& from : kinds)
        for (const std::string& to : kinds)
            if (from != to) {
                EXPECT_EQ(rename(folder + "/" + from, to), EEXIST) << from << " → " << to;
            }
    EXPECT_EQ(dumpTree(folder), before);
}

void expectRenamesOnEverySystem(TempTree& tree, const std::string& folder) {
    for (const System& system : systems) {
        SCOPED_TRACE(folder + ", " + system.name);
        fill(tree, folder);
        runInChild([&] {
            system.prepare();
            expectRenames(tree.path(folder));
            expectNothingIsReplaced(tree.path(folder));
            return 0;
        });
        tree.remove(folder);
    }
}

TEST(LinuxRenameTest, RenamesEveryKindOfObjectAndReplacesNone) {
    TempTree tree;
    expectRenamesOnEverySystem(tree, "top");
}

TEST(LinuxRenameTest, HoldsOnMountedFileSystemsToo) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    LoopImage image(tree.path("image"));
    image.mount(tree.path("ext4"));
    tree.folder("memory");
    ASSERT_EQ(::mount("none", tree.path("memory").c_str(), "tmpfs", 0, "size=1m"), 0);
    for (const char* folder : {"ext4/top", "memory/top"})
        expectRenamesOnEverySystem(tree, folder);
    EXPECT_EQ(::umount(tree.path("memory").c_str()), 0);
}

TEST(LinuxRenameTest, ARefusalOfTheFileSystemChangesNothing) {
    QDX_NEEDS(LoopImage::lack());
    TempTree tree;
    LoopImage image(tree.path("image"));
    image.mount(tree.path("mnt"));
    fill(tree, "mnt/top");
    ASSERT_TRUE(image.unmount(tree.path("mnt")));
    image.mount(tree.path("mnt"), "ro");
    for (const System& system : systems)
        runInChild([&] {
            const std::string top = tree.path("mnt/top");
            const TreeDump before = dumpTree(top);
            system.prepare();
            for (const std::string& kind : kinds)
                EXPECT_EQ(rename(top + "/" + kind, "new"), EROFS) << kind << ", " << system.name;
            EXPECT_EQ(dumpTree(top), before) << system.name;
            return 0;
        });
}

TEST(LinuxRenameTest, AnOrdinaryUserIsRefusedWhatTheFolderForbids) {
    QDX_NEEDS(userLack());
    for (const System& system : systems) {
        SCOPED_TRACE(system.name);
        TempTree tree;
        fill(tree, "own");
        fill(tree, "locked");
        fill(tree, "sticky");
        giveToOrdinaryUser(tree.path());
        ASSERT_EQ(::chown(tree.path("locked").c_str(), 0, 0), 0);
        ASSERT_EQ(::chown(tree.path("sticky").c_str(), 0, 0), 0);
        tree.chmod("sticky", 01777);
        tree.chmod("sticky/file", 0666); // may be linked by anybody, and not unlinked
        for (const std::string& kind : kinds)
            ASSERT_EQ(::lchown(tree.path("sticky/" + kind).c_str(), 0, 0), 0);
        const TreeDump before = dumpTree(tree.path());
        runInChild([&] {
            becomeOrdinaryUser();
            system.prepare();
            expectRenames(tree.path("own"));
            expectNothingIsReplaced(tree.path("own"));
            for (const std::string& kind : kinds) {
                EXPECT_EQ(rename(tree.path("locked/" + kind), "new"), EACCES) << kind;
                EXPECT_EQ(rename(tree.path("sticky/" + kind), "new"), EPERM) << kind;
            }
            return 0;
        });
        EXPECT_EQ(dumpTree(tree.path()), before);
    }
}

TEST(LinuxRenameTest, AnotherObjectInTheItemsPlaceIsLeftAlone) {
    TempTree tree;
    tree.file("place/item", "content");
    tree.file("place/twin", "content");
    tree.file("other/item", "another");
    const Item item = itemAt(tree.path("place/item"));
    const TreeDump before = dumpTree(tree.path());
    Item wrong[] = {item, item, item, item, item};
    ++wrong[0].device;
    ++wrong[1].inode;
    wrong[2].type = S_IFDIR;
    wrong[3].path = tree.path("place/gone");
    wrong[4].path = tree.path("place/twin/item");
    for (const Item& other : wrong)
        EXPECT_EQ(LinuxRename().perform(other, "new", {}), ESTALE) << other.path;
    EXPECT_EQ(dumpTree(tree.path()), before);
}

TEST(LinuxRenameTest, CaseCountsWhereTheFileSystemTellsItApart) {
    TempTree tree;
    tree.file("Song.mp3", "one");
    tree.file("SONG.mp3", "two");
    tree.hardLink("song.mp3", "Song.mp3"); // the same object, yet another name
    const TreeDump before = dumpTree(tree.path());
    EXPECT_EQ(respell(tree.path("Song.mp3"), "SONG.mp3"), EEXIST);
    EXPECT_EQ(respell(tree.path("Song.mp3"), "song.mp3"), EEXIST);
    EXPECT_EQ(dumpTree(tree.path()), before);
    EXPECT_EQ(respell(tree.path("SONG.mp3"), "song.MP3"), 0);
}

TEST(LinuxRenameTest, CaseAloneCanBeChangedWhereNamesAreFoundInAnyCase) {
    QDX_NEEDS(CaseBlindFs::lack());
    using Listing = std::map<std::string, std::uint64_t>;
    constexpr const char* kelvin = "\u212A.txt"; // its lower case is "k"
    TempTree tree;
    CaseBlindFs fs(tree.path("mnt"));
    fs.addFile("Song.mp3", 11);
    fs.addFile("other", 12);
    fs.addFile("k.txt", 13);
    fs.addFile(kelvin, 14);
    fs.addFolder("Folder");
    const auto at = [&](const char* name) { return tree.path("mnt/") + name; };
    ASSERT_NE(itemAt(at("Song.mp3")).inode, itemAt(at("SONG.MP3")).inode);

    const Listing before = fs.listing();
    EXPECT_EQ(rename(at("other"), "song.mp3"), EEXIST);
    EXPECT_EQ(rename(at("Folder"), "OTHER"), EEXIST);
    EXPECT_EQ(respell(at(kelvin), "K.txt"), EEXIST) << "k.txt would be replaced";
    EXPECT_EQ(fs.listing(), before);

    EXPECT_EQ(respell(at("Song.mp3"), "song.MP3"), 0);
    EXPECT_EQ(respell(at("Folder"), "folder"), 0);
    EXPECT_EQ(rename(at("other"), "new"), 0);
    EXPECT_EQ(rename(at("folder"), "album"), 0);
    EXPECT_EQ(fs.listing(),
              (Listing{{"song.MP3", 11}, {"new", 12}, {"k.txt", 13}, {kelvin, 14}, {"album", 0}}));
}

} // namespace
} // namespace quarrydex
