/// Duplicate runs by the bytes of real files, and what happens to files that are not, or no longer,
/// what the catalogue says.
#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "tests/support/DupRun.h"

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

// --- By bytes -----------------------------------------------------------------------------------

TEST(DuplicateFinderTest, FilesAreReadInTheOrderOfTheDisk) {
    MusicFolder music;
    for (int i = 0; i < 40; ++i) // names that sort otherwise than they were made
        music.tree.file(std::to_string(i * 37 % 40) + ".mp3", noise(5000, 1));
    music.scan();
    Setting setting;
    setting.options.threads = 1;
    EXPECT_EQ(setting.run(music).groups.size(), 1U);
    std::vector<std::uint64_t> inodes;
    for (const std::string& path : setting.reads.order())
        inodes.push_back(systemFileReads().look(path)->inode);
    EXPECT_EQ(inodes.size(), 40U);
    EXPECT_TRUE(std::is_sorted(inodes.begin(), inodes.end()));
}

TEST(DuplicateFinderTest, ExtensionsAndSizesChooseTheFiles) {
    MusicFolder music;
    for (const char* name : {"a.MP3", "b.mp3", "c.txt", "d", "e.Wv", "mp3"})
        music.tree.file(name, noise(1024, 1));
    for (const char* name : {"f.mp3", "g.mp3"})
        music.tree.file(name, noise(1023, 1));
    for (const char* name : {"h.mp3", "i.mp3", "folder/j.mp3"})
        music.tree.file(name, std::string_view());
    music.tree.folder("k.mp3");
    music.tree.folder("l.mp3");
    music.tree.link("m.mp3", "a.MP3");
    music.tree.link("n.mp3", "a.MP3");
    VolumeIndex& index = music.scan();
    Setting setting;
    EXPECT_EQ(music.sets(setting.run(music).groups, DupKind::identical),
              (Sets{{"a.MP3", "b.mp3", "e.Wv"}}));
    setting.options.stages = {DupStage::size};
    EXPECT_TRUE(setting.run(music).groups.empty()) << "equal sizes alone say nothing";
    setting.options = {.minSize = 0};
    EXPECT_EQ(setting.run(music).leftOut, LeftOut()) << "links and folders are none to begin with";
    EXPECT_EQ(
        music.sets(setting.run(music).groups, DupKind::identical),
        (Sets{{"a.MP3", "b.mp3", "e.Wv"}, {"f.mp3", "g.mp3"}, {"h.mp3", "i.mp3", "folder/j.mp3"}}));
    setting.options.extensions = {"txt", "MP3"};
    EXPECT_EQ(music.sets(setting.run(music).groups, DupKind::identical),
              (Sets{{"a.MP3", "b.mp3", "c.txt"},
                    {"f.mp3", "g.mp3"},
                    {"h.mp3", "i.mp3", "folder/j.mp3"}}));
    for (EntryId id = 0; id < index.count(); ++id)
        if (index.name(id) == "c.txt")
            index.markDeleted(id);
    EXPECT_EQ(music.sets(setting.run(music).groups, DupKind::identical).count({"a.MP3", "b.mp3"}),
              1U);
}

TEST(DuplicateFinderTest, AFileThatCannotBeReadDropsOutOfTheByteStagesOnly) {
    MusicFolder music;
    for (const char* name : {"a.mp3", "b.mp3", "Band - Song.mp3"})
        music.tree.file(name, noise(k100, 1));
    music.tree.file("x/Band - Song.ogg", noise(9999, 2));
    music.scan();
    Setting setting;
    setting.reads.readFails = [](const std::string& path) {
        return path.ends_with("Band - Song.mp3");
    };
    const Seen run = setting.run(music);
    EXPECT_EQ(music.sets(run.groups, DupKind::identical), (Sets{{"a.mp3", "b.mp3"}}));
    EXPECT_EQ(music.sets(run.groups, DupKind::sameSong),
              (Sets{{"Band - Song.mp3", "x/Band - Song.ogg"}}));
    EXPECT_EQ(run.leftOut, (LeftOut{.unreadable = 1}));
}

// --- One file is one file -----------------------------------------------------------------------

TEST(DuplicateFinderTest, FurtherPathsToOneFileAreNoCopies) {
    MusicFolder music;
    music.tree.file("in/Band - Song.mp3", noise(k100, 1));
    music.tree.hardLink("in/Band - Song again.mp3", "in/Band - Song.mp3");
    music.tree.hardLink("in/deep/Band - Song.mp3", "in/Band - Song.mp3");
    music.scan();
    music.scan("in"); // overlapping roots
    music.scan("in/deep");
    Setting setting;
    Seen run = setting.run(music);
    EXPECT_TRUE(run.groups.empty());
    EXPECT_EQ(run.leftOut.sameFile, 6U);

    for (const DupStages stages : {DupStages{DupStage::sameSong}, DupStages{DupStage::quickHash}}) {
        setting.options.stages = stages;
        EXPECT_TRUE(setting.run(music).groups.empty());
    }

    music.tree.file("in/copy.mp3", noise(k100, 1));
    music.volumes.clear();
    music.scan();
    music.scan("in");
    setting.options = DuplicateFinder::Options();
    run = setting.run(music);
    ASSERT_EQ(run.groups.size(), 1U);
    EXPECT_EQ(run.groups[0].members.size(), 2U) << "one path for each of the two files";
}

// --- Files that are not what they were ----------------------------------------------------------

struct Change {
    const char* what;
    std::function<void(TempTree&, const char* name)> make;
};

const Change changes[] = {
    {"gone", [](TempTree& tree, const char* name) { tree.remove(name); }},
    {"grown", [](TempTree& tree, const char* name) { tree.file(name, noise(k100 + 1, 1)); }},
    {"emptied", [](TempTree& tree, const char* name) { tree.file(name, std::string_view()); }},
    {"newer", [](TempTree& tree, const char* name) { tree.setTimes(name, 2'000'000'000); }},
    {"a folder",
     [](TempTree& tree, const char* name) {
         tree.remove(name);
         tree.folder(name);
     }},
    {"a pipe", // not to be waited for
     [](TempTree& tree, const char* name) {
         tree.remove(name);
         tree.fifo(name);
     }},
    {"a link to another",
     [](TempTree& tree, const char* name) {
         tree.remove(name);
         tree.link(name, "b.mp3");
     }},
};

TEST(DuplicateFinderTest, WhatIsNotWhatTheCatalogueSaysTakesNoPart) {
    for (const Change& change : changes) {
        SCOPED_TRACE(change.what);
        MusicFolder music;
        for (const char* name : {"a.mp3", "b.mp3", "c.mp3", "Band - Song.mp3"})
            music.tree.file(name, noise(k100, 1));
        music.tree.file("Band - Song.ogg", noise(3000, 2));
        music.scan();
        change.make(music.tree, "a.mp3");
        change.make(music.tree, "Band - Song.ogg");
        Setting setting;
        const Seen run = setting.run(music);
        EXPECT_EQ(music.sets(run.groups, DupKind::identical),
                  (Sets{{"b.mp3", "c.mp3", "Band - Song.mp3"}}));
        EXPECT_EQ(music.sets(run.groups, DupKind::sameSong), Sets());
        EXPECT_EQ(run.leftOut.changed, 2U);
    }
}

TEST(DuplicateFinderTest, WhatChangesDuringTheRunIsInNoGroup) {
    // At the first progress of each stage, after which nothing but the last look can notice.
    for (DupStage when : {DupStage::quickHash, DupStage::fullHash, DupStage::sameSong}) {
        for (const Change& change : changes) {
            SCOPED_TRACE(std::string(change.what) + " in " + std::string(caseName(when)));
            MusicFolder music;
            for (const char* name : {"a.mp3", "b.mp3", "c.mp3"})
                music.tree.file(name, noise(k100, 1));
            for (const char* name : {"x - same song.mp3", "y.mp3"})
                music.tree.file(name, noise(m1, 2));
            music.tree.file("x - same song.ogg", noise(3000, 3));
            music.scan();
            Setting setting;
            bool isDone = false;
            setting.onProgress = [&](DuplicateFinder&, const Progress& now) {
                if (now.stage != when || std::exchange(isDone, true))
                    return;
                for (const char* name : {"a.mp3", "x - same song.mp3"})
                    change.make(music.tree, name);
            };
            const Seen run = setting.run(music);
            EXPECT_EQ(music.sets(run.groups, DupKind::identical), (Sets{{"b.mp3", "c.mp3"}}));
            // The survivor of the broken pair may speak for the song; the changed one may not.
            for (const DupGroup& group : run.groups)
                for (const DupMember& member : group.members)
                    EXPECT_NE(music.rel(member.path), "x - same song.mp3");
            EXPECT_GE(run.leftOut.changed, 2U);
        }
    }
}

TEST(DuplicateFinderTest, AFileThatIsReplacedBetweenTwoReadsIsNoCopy) {
    MusicFolder music;
    music.tree.file("a.mp3", noise(m1, 1));
    music.tree.file("b.mp3", noise(m1, 1));
    music.tree.setTimes("a.mp3", 1'000'000'000);
    music.scan();
    Setting setting;
    setting.options.threads = 1;
    int opened = 0;
    setting.reads.beforeOpen = [&](const std::string& path) {
        if (!path.ends_with("a.mp3") || ++opened != 2)
            return;
        // The same size, the same time, other bytes: only the inode tells.
        std::string bytes = noise(m1, 1);
        bytes[m1 / 2] = static_cast<char>(bytes[m1 / 2] ^ 1);
        music.tree.file("new", bytes);
        music.tree.setTimes("new", 1'000'000'000);
        music.tree.rename("new", "a.mp3");
    };
    EXPECT_TRUE(setting.run(music).groups.empty());
    EXPECT_EQ(opened, 2);
}

TEST(DuplicateFinderTest, NothingIsFoundInNothing) {
    MusicFolder music;
    Setting setting;
    setting.options.stages.insert(DupStage::fingerprint);
    setting.fpcalc = "/fake/fpcalc";
    EXPECT_TRUE(setting.run(music).groups.empty());
    music.scan();
    EXPECT_TRUE(setting.run(music).groups.empty());
    setting.options.stages = {};
    setting.options.threads = -1;
    EXPECT_TRUE(setting.run(music).groups.empty());
}

} // namespace
} // namespace quarrydex
