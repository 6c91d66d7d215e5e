/// The finder against the slow and obvious way, on random files that share sizes, beginnings, ends
/// and everything: all bytes of all files compared.
#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "tests/fakes/WatchedReads.h"
#include "tests/support/MusicFolder.h"

#include <fstream>
#include <iterator>

#include <sys/stat.h>

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

using InodeSets = std::set<std::set<ino_t>>;

std::string bytesOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

ino_t inodeOf(const std::string& path) {
    struct stat st;
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st.st_ino;
}

/// Files in all: their contents by inode, and how often a path leads to them.
struct Expected {
    std::map<std::string, std::set<ino_t>> byBytes;
    std::map<std::string, std::set<ino_t>> byEnds; ///< by size, first and last 64 KiB

    void add(const std::string& path) {
        const std::string bytes = bytesOf(path);
        constexpr std::size_t end = 65'536;
        const std::string ends = bytes.size() <= 2 * end
                                     ? bytes
                                     : bytes.substr(0, end) + bytes.substr(bytes.size() - end);
        byBytes[bytes].insert(inodeOf(path));
        byEnds[std::to_string(bytes.size()) + ":" + ends].insert(inodeOf(path));
    }

    static InodeSets groups(const std::map<std::string, std::set<ino_t>>& by) {
        InodeSets out;
        for (const auto& [bytes, inodes] : by)
            if (inodes.size() >= 2)
                out.insert(inodes);
        return out;
    }
};

InodeSets inodesOf(const std::vector<DupGroup>& groups) {
    InodeSets out;
    for (const DupGroup& group : groups) {
        std::set<ino_t> inodes;
        for (const DupMember& member : group.members)
            EXPECT_TRUE(inodes.insert(inodeOf(member.path)).second) << "one file twice";
        EXPECT_TRUE(out.insert(inodes).second);
    }
    return out;
}

/// Contents of one of a few sizes, many of which differ in a single byte somewhere.
std::string randomBytes(std::mt19937& random) {
    static constexpr std::size_t sizes[] = {0,       1,       1024,      65'535,
                                            65'536,  65'537,  131'071,   131'072,
                                            131'073, 200'000, 1'048'576, 1'048'577};
    std::string bytes = noise(sizes[random() % std::size(sizes)], random() % 2);
    if (!bytes.empty() && random() % 3 == 0) {
        const std::size_t places[] = {0,      bytes.size() - 1,      bytes.size() / 2, 65'535,
                                      65'536, bytes.size() - 65'536, 131'071};
        const std::size_t place = places[random() % std::size(places)];
        if (place < bytes.size())
            bytes[place] = static_cast<char>(bytes[place] ^ 0x40);
    }
    return bytes;
}

std::string randomPath(std::mt19937& random, int number) {
    static const char* const folders[] = {"", "in/", "in/deep/", "beside/"};
    static const char* const extensions[] = {".mp3", ".flac", ".OGG"};
    return folders[random() % 4] + std::to_string(number) + extensions[random() % 3];
}

TEST(DuplicateOracleTest, FindsExactlyTheEqualFiles) {
    std::mt19937 random(3);
    std::size_t found = 0;
    for (int round = 0; round < 45; ++round) {
        MusicFolder music;
        music.tree.folder("in/deep");
        std::vector<std::string> paths;
        for (int i = 0, n = 1 + static_cast<int>(random() % 60); i < n; ++i) {
            const std::string path = randomPath(random, i);
            if (!paths.empty() && random() % 6 == 0)
                music.tree.hardLink(path, paths[random() % paths.size()]);
            else
                music.tree.file(path, randomBytes(random));
            paths.push_back(path);
        }
        Expected expected;
        for (const std::string& path : paths)
            expected.add(music.tree.path(path));
        music.scan();
        if (random() % 2 == 0)
            music.scan("in");
        if (random() % 2 == 0)
            music.scan();

        const WatchedReads reads;
        const auto run = [&](DupStages stages, int threads) {
            DuplicateFinder::Options options;
            options.minSize = 0;
            options.stages = stages;
            options.threads = threads;
            DuplicateFinder finder(music.dupVolumes(), options, {.files = reads});
            std::vector<DupGroup> groups = finder.run();
            expectSound(groups);
            return inodesOf(groups);
        };
        const InodeSets byBytes = Expected::groups(expected.byBytes);
        ASSERT_EQ(run({DupStage::size, DupStage::quickHash, DupStage::fullHash}, 3), byBytes);
        for (const std::string& path : paths)
            ASSERT_LE(reads.tally(music.tree.path(path)).opened, 2) << "once a stage";
        ASSERT_EQ(run({DupStage::fullHash}, 1), byBytes);
        ASSERT_EQ(run({DupStage::quickHash, DupStage::fullHash}, 2), byBytes);
        ASSERT_EQ(run({DupStage::size, DupStage::quickHash}, 4), Expected::groups(expected.byEnds));
        found += byBytes.size();
    }
    EXPECT_GT(found, 200U);
}

} // namespace
} // namespace quarrydex
