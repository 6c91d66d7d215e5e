#include "QuarrydexCore/catalog/VolumeID.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeVolumeInfo.h"
#include "tests/support/TempTree.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace quarrydex {
namespace {

using Texts = std::vector<std::string>;

TEST(VolumeIDTest, VolumeWithoutUuidIsKnownByItsPath) {
    FakeVolumeInfo info;
    info.volumes["/"] = {.uuid = "1111-AAAA"};
    info.volumes["a"] = {.fsType = "nfs4"};
    info.volumes["foobar"] = {};
    const VolumeID id(info);
    EXPECT_EQ(id.identity("/home"), "1111-AAAA");
    EXPECT_EQ(id.uuid("a"), std::nullopt);
    EXPECT_EQ(id.fsType("a"), "nfs4");
    // The published values of 64-bit FNV-1a.
    EXPECT_EQ(VolumeID::fnv(""), 0xCBF29CE484222325U);
    EXPECT_EQ(id.identity("a"), "path-AF63DC4C8601EC8C");
    EXPECT_EQ(id.identity("foobar"), "path-85944171F73967E8");
}

TEST(VolumeIDTest, ConfigurationsThatRecordTheSameAreTheSame) {
    const auto hash = VolumeID::configHash(Texts{"/a", "/b"}, Texts{"/s", "/t"}, Texts{"mp3", "x"});
    EXPECT_EQ(
        VolumeID::configHash(Texts{"/b//", "/a", "/b"}, Texts{"/t/", "/s"}, Texts{"x", "mp3", "x"}),
        hash);
    EXPECT_EQ(VolumeID::exclHash(Texts{"/", "/a/"}), VolumeID::exclHash(Texts{"/a", "/", "/"}));
}

TEST(VolumeIDTest, ConfigurationsThatDifferDiffer) {
    const struct {
        Texts excludes, scopes, exts;
    } cases[] = {
        {{}, {}, {}},
        {{"/a"}, {}, {}},
        {{}, {"/a"}, {}},
        {{}, {}, {"/a"}},
        {{"/a", "/b"}, {}, {}},
        {{"/a"}, {"/b"}, {}},
        {{"/a/b"}, {}, {}},
        {{"/a", "b"}, {}, {}},
        {{"/a:/b", "/c"}, {}, {}},
        {{"/a", "/b:/c"}, {}, {}},
        {{"/ab"}, {}, {}},
        {{"2:/a"}, {}, {}},
        {{""}, {}, {}},
        {{"/"}, {}, {}},
    };

    std::set<std::uint64_t> hashes, excludeHashes;
    for (const auto& c : cases) {
        EXPECT_TRUE(hashes.insert(VolumeID::configHash(c.excludes, c.scopes, c.exts)).second)
            << hashes.size();
        excludeHashes.insert(VolumeID::exclHash(c.excludes));
    }
    EXPECT_EQ(excludeHashes.size(), 11U);
}

TEST(VolumeIDTest, SnapshotNamesAreSafeAndTheirOwn) {
    const std::string folder = "/data/quarrydex";

    const struct {
        std::string uuid, root;
    } cases[] = {
        {"0f2c1a77-5b1e-4c3d-9e8f-a1b2c3d4e5f6", "/"},
        {"0f2c1a77-5b1e-4c3d-9e8f-a1b2c3d4e5f6", "/home"},
        {"../../etc/passwd", "/"},
        {".._.._etc_passwd", "/"},
        {"", ""},
        {".", ""},
        {"a\nb\xFF*?%20", "/"},
        {std::string("a\0b", 3), "/"},
        {std::string(300, 'x'), "/"},
        {std::string(301, 'x'), "/"},
    };

    Texts seen;
    for (const auto& c : cases) {
        const std::string path = VolumeID::snapshotPath(c.uuid, c.root, folder);
        EXPECT_EQ(path, VolumeID::snapshotPath(c.uuid, c.root, folder + "/"));
        EXPECT_EQ(std::ranges::count(seen, path), 0) << path;
        seen.push_back(path);
        ASSERT_TRUE(path.starts_with(folder + "/") && path.ends_with(".idx")) << path;
        const std::string name = path.substr(folder.size() + 1);
        EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789-._"),
                  std::string::npos)
            << name;
        EXPECT_NE(name.front(), '.');
        EXPECT_LE(name.size(), 100U);
    }
}

TEST(VolumeIDTest, SnapshotIsResumedByWhatIsStillTrueOfIt) {
    SnapshotInfo snapshot;
    snapshot.uuid = "U";
    snapshot.fseUUID = "H";
    snapshot.root = "/r";
    const auto verdict = [&](const VolumeID::Live& live) {
        return VolumeID::resume(snapshot, live);
    };
    using Resume = VolumeID::Resume;
    EXPECT_EQ(verdict({"U", "/r", "H"}), Resume::replay);
    EXPECT_EQ(verdict({"U", "/r", "other"}), Resume::reconcile);
    EXPECT_EQ(verdict({"U", "/r", ""}), Resume::reconcile);
    EXPECT_EQ(verdict({"V", "/r", "H"}), Resume::invalid);
    EXPECT_EQ(verdict({"U", "/r2", "H"}), Resume::invalid);

    SnapshotInfo old = snapshot; // made where nothing could be watched
    old.fseUUID.clear();
    EXPECT_EQ(VolumeID::resume(old, {"U", "/r", ""}), Resume::reconcile);
    EXPECT_EQ(VolumeID::resume(old, {"U", "/r", "H"}), Resume::reconcile);
}

TEST(VolumeIDTest, TextsAreComparedAsTheHeaderHoldsThem) {
    const std::string deep = "/" + std::string(1100, 'd');
    const std::string history(60, 'h');
    SnapshotInfo snapshot;
    snapshot.uuid = "U";
    snapshot.fseUUID = history.substr(0, 47);
    snapshot.root = deep.substr(0, 1023);
    EXPECT_EQ(VolumeID::resume(snapshot, {"U", deep, history}), VolumeID::Resume::replay);
    EXPECT_EQ(VolumeID::resume(snapshot, {"U", deep.substr(0, 1022), history}),
              VolumeID::Resume::invalid);
}

TEST(VolumeIDTest, CatalogsAreForTheUserAlone) {
    TempTree tree;
    FakeAppFolders folders;
    folders.dataPath = tree.path("share/quarrydex");
    EXPECT_FALSE(std::filesystem::exists(tree.path("share")));
    const std::string made = tree.path("share/quarrydex");
    EXPECT_EQ(VolumeID::directory(folders), made);

    struct stat st {};

    ASSERT_EQ(::stat(made.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777U, 0700U);
    tree.chmod("share/quarrydex", 0750); // the user's choice stays
    EXPECT_EQ(VolumeID::directory(folders), made);
    ASSERT_EQ(::stat(made.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777U, 0750U);
}

} // namespace
} // namespace quarrydex
