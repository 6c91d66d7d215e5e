#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/store/fidx.h"

#include "tests/fakes/FakeDirReader.h"
#include "tests/support/AnotherUser.h"
#include "tests/support/HookedReader.h"
#include "tests/support/LoopImage.h"
#include "tests/support/Scanned.h"
#include "tests/support/TempTree.h"

#include <fstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace quarrydex {
namespace {

// --- Against a plain walk -----------------------------------------------------------------------

/// What a slow and obvious walk finds. Knows nothing of junk, mounts and repeated paths.
void plainWalk(const std::string& path, std::uint8_t inherited, StoreDump& out) {
    DIR* dir = ::opendir(path.c_str());
    ASSERT_NE(dir, nullptr) << path;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        const std::string full = path + "/" + name;
        struct statx st;
        ASSERT_EQ(::statx(AT_FDCWD, full.c_str(), AT_SYMLINK_NOFOLLOW,
                          STATX_BASIC_STATS | STATX_BTIME, &st),
                  0);
        DumpedEntry expected;
        expected.flags = inherited;
        if (S_ISDIR(st.stx_mode))
            expected.flags |= 0x01;
        if (name[0] == '.')
            expected.flags |= 0x02;
        if (S_ISLNK(st.stx_mode))
            expected.flags |= 0x04;
        for (char c : name)
            if (static_cast<unsigned char>(c) >= 0x80)
                expected.flags |= 0x20;
        expected.size = S_ISREG(st.stx_mode) ? st.stx_size : 0;
        const auto clamp = [](std::int64_t t) {
            return static_cast<std::uint32_t>(
                std::min(std::max(t, std::int64_t{0}), std::int64_t{0xFFFFFFFF}));
        };
        expected.mtime = clamp(st.stx_mtime.tv_sec);
        expected.ctime = (st.stx_mask & STATX_BTIME) != 0 ? clamp(st.stx_btime.tv_sec) : 0;
        out[full] = expected;
        if (S_ISDIR(st.stx_mode))
            plainWalk(full, expected.flags & 0x02, out);
    }
    ::closedir(dir);
}

void buildTrickyTree(TempTree& tree) {
    tree.file("plain.txt", 1234);
    tree.file("empty");
    tree.file("new\nline\x01.\xFF\xFE", "abc");
    tree.file(std::string(255, 'n'), 1);
    tree.file("caf\xC3\xA9/\xE3\x81\x8C.flac", 7);
    tree.file(".hidden/below/it.txt", 3);
    tree.file("back\\slash \"quoted\" 'x' $(y)");
    tree.link("dangling", "nowhere");
    tree.link("loop", "loop");
    tree.link("up", "..");
    tree.link("caf\xC3\xA9/self", ".");
    tree.fifo("fifo");
    tree.socket("socket");
    tree.hardLink("second name", "plain.txt");
    tree.folder("void");
    tree.file("old", 5);
    tree.setTimes("old", -86'400);
    tree.file("far", 5);
    tree.setTimes("far", 4'294'967'296 + 86'400);
    for (int i = 0; i < 3000; ++i) // more than one buffer of names
        tree.file("many/" + std::string(100, 'm') + std::to_string(i));
}

TEST(ScanTest, RecordsWhatAPlainWalkFinds) {
    TempTree tree;
    buildTrickyTree(tree);
    StoreDump expected;
    plainWalk(tree.path(), 0, expected);
    for (int threads : {0, 1, 2, 8}) {
        const Scanned scanned = scan(tree.path(), threads);
        ASSERT_EQ(scanned.result, 0);
        StoreDump found = scanned.dump();
        EXPECT_EQ(found[tree.path()], (DumpedEntry{0x11, 0, 0, 0, ""}));
        found.erase(tree.path());
        for (auto& [path, entry] : found)
            entry.ext.clear();
        EXPECT_EQ(found, expected) << threads << " threads";
        EXPECT_EQ(scanned.stats.files, 3010U);
        EXPECT_EQ(scanned.stats.dirs, 5U);
        EXPECT_EQ(scanned.stats.other, 6U);
        EXPECT_EQ(scanned.stats.bytes, 1234U * 2 + 3 + 1 + 7 + 3 + 5 + 5);
        EXPECT_EQ(scanned.stats.errors + scanned.stats.enoent + scanned.stats.nested, 0U);
    }
}

TEST(ScanTest, ParentsPrecedeTheirChildrenWhichAreContiguous) {
    TempTree tree;
    buildTrickyTree(tree);
    const Scanned scanned = scan(tree.path());
    std::vector<bool> isClosed(fidx_count(scanned.store.get()));
    for (EntryId id = 1; id < isClosed.size(); ++id) {
        const EntryId parent = scanned.store->parent[id];
        ASSERT_LT(parent, id);
        EXPECT_FALSE(isClosed[parent]) << "children of " << parent << " are in two places";
        const EntryId before = scanned.store->parent[id - 1];
        if (before != parent && before != noParent)
            isClosed[before] = true;
    }
}

// --- Roots --------------------------------------------------------------------------------------

TEST(ScanTest, RootThatCannotBeOpenedAsAFolderAddsNothing) {
    TempTree tree;
    tree.file("file");
    tree.link("dangling", "nowhere");

    const struct {
        std::string path;
        int error, listError; // a listing follows no link
    } cases[] = {{tree.path("file"), ENOTDIR, ENOTDIR},
                 {tree.path("absent"), ENOENT, ENOENT},
                 {tree.path("dangling"), ENOENT, ENOTDIR},
                 {"", ENOENT, ENOENT}};

    for (const auto& c : cases) {
        errno = 0;
        const Scanned scanned = scan(c.path);
        EXPECT_EQ(scanned.result, -1) << c.path;
        EXPECT_EQ(errno, c.error) << c.path;
        EXPECT_EQ(fidx_count(scanned.store.get()), 0U);
        EXPECT_EQ(fidx_roots(scanned.store.get(), nullptr, 0), 0U);
        fidx_listing listing;
        EXPECT_EQ(fidx_list(scanned.store.get(), c.path.c_str(), 0, &listing), -1);
        EXPECT_EQ(errno, c.listError);
    }
}

TEST(ScanTest, RootsAreKeptInTheOrderOfTheirScans) {
    TempTree tree;
    const Scanned scanned;
    std::vector<std::string> expected;
    fidx_stats stats{};
    for (int i = 0; i < 9; ++i) {
        const std::string name = "r" + std::to_string(9 - i);
        tree.file(name + "/f");
        expected.push_back(tree.path(name));
        ASSERT_EQ(fidx_scan(scanned.store.get(), expected.back().c_str(), 2, &stats), 0);
    }
    EntryId ids[16];
    ASSERT_EQ(fidx_roots(scanned.store.get(), ids, 16), 9U);
    EXPECT_EQ(fidx_roots(scanned.store.get(), ids, 4), 4U);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(dumpedPath(*scanned.store, ids[i]), expected[i]);
        EXPECT_EQ(scanned.store->parent[ids[i]], noParent);
    }
    EXPECT_EQ(stats.files, 9U); // added up
}

TEST(ScanTest, RootMayBeALinkToAFolder) {
    TempTree tree;
    tree.file("real/a/b", 3);
    tree.link("root", "real");
    const Scanned scanned = scan(tree.path("root"));
    EXPECT_EQ(namesBelow(scanned, tree.path("root")), (std::vector<std::string>{"a", "a/b"}));
    fidx_listing listing;
    EXPECT_EQ(fidx_list(scanned.store.get(), tree.path("root").c_str(), 0, &listing), 0);
    EXPECT_EQ(listing.records.size(), 1U);
}

TEST(ScanTest, ChildrenOfTheTopFolderHaveOneSlash) {
    FakeDirReader reader;
    reader.add("/", "home", aFolder);
    reader.add("/", "proc", aFolder);
    reader.add("/home", "x", aFile);
    reader.add("/proc", "1", aFolder);
    const InstalledDirReader installed(reader);
    Scanned scanned;
    const std::string excludes[] = {"/proc"};
    fidx_set_excludes(scanned.store.get(), excludes);
    ASSERT_EQ(fidx_scan(scanned.store.get(), "/", 2, &scanned.stats), 0);
    EXPECT_EQ(namesBelow(scanned, "/"), (std::vector<std::string>{"home", "home/x", "proc"}));
    EXPECT_EQ(scanned.stats.enoent, 0U);
}

// --- Depth ---------------------------------------------------------------------------------------

TEST(ScanTest, TreesDeeperThanTheLongestPathAreReadToTheBottom) {
    TempTree tree;
    std::string rel;
    for (int i = 0; i < 40; ++i)
        rel += std::string(200, static_cast<char>('a' + i % 26)) + "/";
    tree.file(rel + "bottom.txt", 42);
    Scanned scanned = scan(tree.path());
    EXPECT_EQ(scanned.stats.errors, 0U);
    EXPECT_EQ(scanned.dump()[tree.path(rel + "bottom.txt")].size, 42U);

    PathStatus status;
    const DirReader& reader = systemPlatform().dirReader;
    ASSERT_EQ(reader.status(tree.path(rel + "bottom.txt"), status), 0);
    EXPECT_EQ(status.size, 42U);
    EXPECT_EQ(reader.status(tree.path(rel + "absent"), status), ENOENT);
    std::uint64_t device = 0;
    EXPECT_EQ(reader.probeFolder(tree.path(rel) + std::string(5000, '/'), device), 0);
    EXPECT_EQ(reader.probeFolder(tree.path(std::string(5000, 'x')), device), ENAMETOOLONG);
}

// --- Failures -----------------------------------------------------------------------------------

TEST(ScanTest, FoldersThatFailAreCountedAndTheScanGoesOn) {
    FakeDirReader reader;
    for (const char* name : {"gone", "denied", "broken", "fine"})
        reader.add("/r", name, aFolder);
    reader.folders["/r/denied"].error = EACCES;
    reader.add("/r/broken", "read before", aFile);
    reader.folders["/r/broken"].error = EIO;
    reader.add("/r/fine", "f", aFile);
    const InstalledDirReader installed(reader);
    const Scanned scanned = scan("/r");
    EXPECT_EQ(scanned.result, 0);
    EXPECT_EQ(scanned.stats.enoent, 1U);
    EXPECT_EQ(scanned.stats.errors, 2U);
    EXPECT_EQ(namesBelow(scanned, "/r"),
              (std::vector<std::string>{"broken", "broken/read before", "denied", "fine", "fine/f",
                                        "gone"}));
    fidx_listing listing;
    EXPECT_EQ(fidx_list(scanned.store.get(), "/r/broken", 0, &listing), -1);
    EXPECT_EQ(errno, EIO);
}

TEST(ScanTest, FullStoreRefusesWholeFoldersAndTheScanGoesOn) {
    FakeDirReader reader;
    for (const char* name : {"big", "small", "other"})
        reader.add("/r", name, aFolder);
    for (int i = 0; i < 100; ++i)
        reader.add("/r/big", std::to_string(i), i == 50 ? aFolder : aFile);
    reader.add("/r/small", "s", aFile);
    reader.add("/r/other", "o", aFile);
    const InstalledDirReader installed(reader);
    Scanned scanned{.store = newStore(20, 1000)};
    ASSERT_EQ(fidx_scan(scanned.store.get(), "/r", 3, &scanned.stats), 0);
    EXPECT_TRUE(fidx_overflowed(scanned.store.get()));
    EXPECT_EQ(scanned.stats.errors, 1U);
    EXPECT_EQ(scanned.stats.enoent, 0U); // nothing below the refused batch is entered
    EXPECT_EQ(namesBelow(scanned, "/r"),
              (std::vector<std::string>{"big", "other", "other/o", "small", "small/s"}));

    const Scanned tiny{.store = newStore(1, 1000)};
    fidx_stats stats{};
    EXPECT_EQ(fidx_scan(tiny.store.get(), "/r", 3, &stats), -1);
    EXPECT_EQ(fidx_roots(tiny.store.get(), nullptr, 0), 0U);
}

TEST(ScanTest, FailuresAreReportedOnStandardErrorOnDemand) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a new process: the variable is read once
    const auto scanDenied = [] {
        ::setenv("QUARRYDEX_VERBOSE", "1", 1);
        FakeDirReader reader;
        reader.add("/r", "denied", aFolder);
        reader.add("/r", "gone", aFolder);
        reader.folders["/r/denied"].error = EACCES;
        const InstalledDirReader installed(reader);
        std::exit(scan("/r").result);
    };
    EXPECT_EXIT(scanDenied(), ::testing::ExitedWithCode(0),
                "^open /r/denied: Permission denied\n$");
}

TEST(ScanTest, FolderWithoutPermissionIsAnErrorAndItsAttributesStay) {
    QDX_NEEDS(userLack());
    TempTree tree;
    tree.chmod(".", 0755);
    tree.file("locked/inside");
    tree.file("unsearchable/name", 5);
    tree.chmod("locked", 0);
    tree.chmod("unsearchable", 0444); // names can be read, attributes cannot
    runInChild([&] {
        becomeOrdinaryUser();
        const Scanned scanned = scan(tree.path(), 1);
        EXPECT_EQ(namesBelow(scanned, tree.path()),
                  (std::vector<std::string>{"locked", "unsearchable", "unsearchable/name"}));
        EXPECT_EQ(scanned.stats.errors, 1U);
        EXPECT_EQ(scanned.stats.files, 1U);
        EXPECT_EQ(scanned.dump()[tree.path("unsearchable/name")], DumpedEntry());
        return 0;
    });
    tree.chmod("locked", 0755);
    tree.chmod("unsearchable", 0755);
}

// --- Mounts and links ---------------------------------------------------------------------------

TEST(ScanTest, MountsInsideTheTreeAreRecordedAndNotEntered) {
    TempTree tree;
    tree.folder("tmpfs");
    tree.folder("bind");
    tree.file("source/f");
    tree.file("root/own/f");
    const int result = runInChild([&] {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", tree.path("tmpfs").c_str(), "tmpfs", 0, nullptr) != 0 ||
            ::mount(tree.path("source").c_str(), tree.path("bind").c_str(), nullptr, MS_BIND,
                    nullptr) != 0)
            return childSkipped;
        std::ofstream(tree.path("tmpfs/inside")).put('x');
        const Scanned scanned = scan(tree.path(), 1);
        EXPECT_EQ(namesBelow(scanned, tree.path()),
                  (std::vector<std::string>{"bind", "root", "root/own", "root/own/f", "source",
                                            "source/f", "tmpfs"}));
        EXPECT_EQ(scanned.dump()[tree.path("tmpfs")].flags, EntryFlags::dir); // 0x40 is not kept
        EXPECT_EQ(namesBelow(scan(tree.path("tmpfs"), 1), tree.path("tmpfs")),
                  std::vector<std::string>{"inside"}); // a root may be a mount point
        PathStatus status;
        EXPECT_EQ(systemPlatform().dirReader.status(tree.path("bind"), status), 0);
        EXPECT_TRUE(status.isMountPoint);
        fidx_listing listing;
        EXPECT_EQ(fidx_list(scanned.store.get(), tree.path().c_str(), 0, &listing), 0);
        for (const fidx_record& record : listing.records) {
            const std::string name = listing.names.c_str() + record.name;
            EXPECT_EQ((record.flags & EntryFlags::otherDevice) != 0,
                      name == "tmpfs" || name == "bind")
                << name;
        }
        return 0;
    });
    if (result == childSkipped)
        GTEST_SKIP() << "mounts are not permitted here";
}

TEST(ScanTest, FolderThatBecomesALinkOrVanishesDuringTheScanIsNotEntered) {
    TempTree tree;
    TempTree outside;
    outside.file("secret");
    tree.folder("swapped");
    tree.folder("gone");
    const testing::HookedReader reader(systemPlatform().dirReader, [&](const std::string& folder) {
        if (folder != tree.path())
            return;
        tree.remove("swapped");
        tree.link("swapped", outside.path());
        tree.remove("gone");
    });
    const InstalledDirReader installed(reader);
    const Scanned scanned = scan(tree.path());
    EXPECT_EQ(namesBelow(scanned, tree.path()), (std::vector<std::string>{"gone", "swapped"}));
    EXPECT_EQ(scanned.stats.errors, 1U);
    EXPECT_EQ(scanned.stats.enoent, 1U);
}

} // namespace
} // namespace quarrydex
