/// Duplicate runs over real folders: what each stage does, and what happens to files that are not,
/// or no longer, what the catalogue says.
#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "tests/fakes/FakeLauncher.h"
#include "tests/fakes/WatchedReads.h"
#include "tests/support/MusicFolder.h"

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {
namespace {

using testing::expectSound;
using testing::MusicFolder;
using testing::noise;
using Sets = std::set<std::set<std::string>>;
using Options = DuplicateFinder::Options;
using Progress = DuplicateFinder::Progress;

constexpr std::size_t k100 = 100 * 1024;
constexpr std::size_t m1 = 1'048'576;
constexpr std::size_t m10 = 10 * m1;

/// One run with everything that can be seen of it.
struct Seen {
    std::vector<DupGroup> groups;
    std::vector<Progress> told;
    LeftOut leftOut;

    [[nodiscard]] std::vector<DupStage> stages() const {
        std::vector<DupStage> out;
        for (const Progress& p : told)
            if (out.empty() || out.back() != p.stage)
                out.push_back(p.stage);
        return out;
    }
};

struct Setting {
    Options options{};
    WatchedReads reads{};
    FakeLauncher launcher{};
    std::optional<std::string> fpcalc{};
    std::function<void(DuplicateFinder&, const Progress&)> onProgress{};

    Seen run(const MusicFolder& music) {
        Seen out;
        DuplicateFinder finder(music.dupVolumes(), options,
                               {reads, launcher, [this] { return fpcalc; }});
        out.groups = finder.run([&, caller = std::this_thread::get_id()](const Progress& now) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            out.told.push_back(now);
            if (onProgress)
                onProgress(finder, now);
        });
        out.leftOut = finder.leftOut();
        expectSound(out.groups);
        return out;
    }
};

AudioMeta song(const char* artist, const char* title, std::uint32_t ms, AudioCodec codec) {
    AudioMeta meta;
    meta.artist = artist;
    meta.title = title;
    meta.durationMs = ms;
    meta.codec = codec;
    meta.bitrateKbps = 192;
    meta.sampleRate = 44'100;
    return meta;
}

// --- By bytes -----------------------------------------------------------------------------------

TEST(DuplicateFinderTest, SmallCopiesAreIdenticalAfterTheQuickHash) {
    MusicFolder music;
    music.tree.file("a.mp3", noise(k100, 1));
    music.tree.file("b/a.flac", noise(k100, 1));
    music.tree.file("other.mp3", noise(k100, 2));
    music.scan();
    Setting setting;
    const Seen run = setting.run(music);
    EXPECT_EQ(music.sets(run.groups, DupKind::identical), (Sets{{"a.mp3", "b/a.flac"}}));
    EXPECT_FALSE(run.groups.at(0).confirmed);
    EXPECT_EQ(run.groups.at(0).surplusBytes(), k100);
    EXPECT_EQ(setting.reads.tally(music.tree.path("a.mp3")).opened, 1) << "no second pass";
    for (const Progress& p : run.told)
        EXPECT_TRUE(p.stage != DupStage::fullHash || p.total == 0);
}

TEST(DuplicateFinderTest, BigFilesThatDifferInTheMiddleArePartedByTheFullHash) {
    MusicFolder music;
    std::string bytes = noise(m10, 1);
    music.tree.file("a.wav", bytes);
    music.tree.file("b.wav", bytes);
    bytes[m10 / 2] = static_cast<char>(bytes[m10 / 2] ^ 1);
    music.tree.file("c.wav", bytes);
    music.scan();
    Setting setting;
    EXPECT_EQ(music.sets(setting.run(music).groups, DupKind::identical),
              (Sets{{"a.wav", "b.wav"}}));
    EXPECT_EQ(setting.reads.tally(music.tree.path("c.wav")).opened, 2);
    EXPECT_EQ(setting.reads.tally(music.tree.path("c.wav")).bytes, 131'072 + m10);

    setting.options.stages = {DupStage::size, DupStage::quickHash};
    EXPECT_EQ(music.sets(setting.run(music).groups, DupKind::identical),
              (Sets{{"a.wav", "b.wav", "c.wav"}}));
    setting.options.stages = {DupStage::fullHash};
    EXPECT_EQ(music.sets(setting.run(music).groups, DupKind::identical),
              (Sets{{"a.wav", "b.wav"}}));
    setting.options.stages = {DupStage::size};
    EXPECT_TRUE(setting.run(music).groups.empty()) << "equal sizes alone say nothing";
}

TEST(DuplicateFinderTest, OnlyWhatSharesItsSizeIsRead) {
    MusicFolder music;
    for (std::size_t i = 0; i < 20; ++i)
        music.tree.file(std::to_string(i) + ".mp3", noise(2000 + i, 1));
    music.tree.file("twin.mp3", noise(2000, 2));
    music.scan();
    Setting setting;
    EXPECT_TRUE(setting.run(music).groups.empty());
    EXPECT_EQ(setting.reads.order().size(), 2U);
}

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
    setting.options.minSize = 0;
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

TEST(DuplicateFinderTest, APipeNamedLikeASongIsNotWaitedFor) {
    MusicFolder music;
    music.tree.fifo("a.mp3");
    music.tree.fifo("b.mp3");
    music.tree.file("c.mp3", std::string_view());
    music.tree.file("d.mp3", noise(5000, 1));
    music.tree.file("e.mp3", noise(5000, 1));
    music.scan();
    music.tree.remove("d.mp3"); // and one that takes a catalogued file's place
    music.tree.fifo("d.mp3");
    Setting setting;
    setting.options.minSize = 0;
    EXPECT_TRUE(setting.run(music).groups.empty());
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
    setting.options = Options();
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

// --- The same song ------------------------------------------------------------------------------

TEST(DuplicateFinderTest, ASongInTwoFormatsIsFoundWithinTheTolerance) {
    for (std::uint32_t apart : {1500U, 2000U, 2001U, 2500U}) {
        MusicFolder music;
        music.tree.file("a.flac", noise(5000, 1));
        music.tree.file("b.mp3", noise(4000, 2));
        music.scan();
        music.tag("a.flac", song("The Band", "Song", 180'000, AudioCodec::flac));
        music.tag("b.mp3", song("THE BAND", "Song (320 kbps)", 180'000 + apart, AudioCodec::mp3));
        Setting setting;
        const Seen run = setting.run(music);
        EXPECT_EQ(music.sets(run.groups, DupKind::sameSong),
                  apart <= 2000 ? (Sets{{"a.flac", "b.mp3"}}) : Sets());
        if (!run.groups.empty()) {
            EXPECT_EQ(music.paths(run.groups[0])[0], "a.flac");
            EXPECT_EQ(run.groups[0].members[0].meta->title, "Song");
        }
        setting.options.durationToleranceMs = 2500;
        EXPECT_EQ(setting.run(music).groups.size(), 1U);
    }
}

TEST(DuplicateFinderTest, TagsOfAnOlderStateOfAFileDoNotCount) {
    MusicFolder music;
    music.tree.file("a.flac", noise(5000, 1));
    music.tree.file("b.mp3", noise(4000, 2));
    VolumeIndex& index = music.scan();
    music.tag("a.flac", song("The Band", "Song", 180'000, AudioCodec::flac));
    music.tag("b.mp3", song("The Band", "Song", 180'000, AudioCodec::mp3));
    Setting setting;
    EXPECT_EQ(setting.run(music).groups.size(), 1U);
    music.tree.setTimes("a.flac", 1'500'000'000);
    const std::string root[] = {music.tree.path()};
    index.refresh(root, {});
    EXPECT_TRUE(setting.run(music).groups.empty());
}

TEST(DuplicateFinderTest, EmptyRowsAreNoMetadata) {
    MusicFolder music;
    music.tree.file("Band - Song.mp3", noise(5000, 1));
    music.tree.file("band - song.wav", noise(4000, 1));
    music.scan();
    music.tag("Band - Song.mp3", {});
    Setting setting;
    const Seen run = setting.run(music);
    ASSERT_EQ(run.groups.size(), 1U);
    for (const DupMember& member : run.groups[0].members)
        EXPECT_FALSE(member.meta);
}

TEST(DuplicateFinderTest, IdenticalGroupsStayAndOneOfThemSpeaksInTheSongGroup) {
    struct Case {
        AudioCodec other; ///< of the third file
        std::vector<std::string> identical;
        std::vector<std::string> sameSong; ///< the one to keep first
    };

    // a is the older copy, so the one to keep. Where the pair loses, its surplus file speaks.
    const Case cases[] = {{AudioCodec::flac, {"a.mp3", "b.mp3"}, {"c.x.mp3", "b.mp3"}},
                          {AudioCodec::unknown, {"a.mp3", "b.mp3"}, {"a.mp3", "c.x.mp3"}}};
    for (const Case& c : cases) {
        MusicFolder music;
        music.tree.file("a.mp3", noise(k100, 1));
        music.tree.file("b.mp3", noise(k100, 1));
        music.tree.file("c.x.mp3", noise(5000, 2));
        music.tree.setTimes("a.mp3", 1'000'000'000);
        music.scan();
        music.tag("a.mp3", song("The Band", "Song", 1000, AudioCodec::mp3));
        music.tag("b.mp3", song("The Band", "Song", 1000, AudioCodec::mp3));
        AudioMeta other = song("The Band", "Song", 1000, c.other);
        if (c.other == AudioCodec::unknown)
            other.bitrateKbps = 1;
        music.tag("c.x.mp3", other);
        Setting setting;
        for (const DupGroup& group : setting.run(music).groups)
            EXPECT_EQ(music.paths(group),
                      group.kind == DupKind::identical ? c.identical : c.sameSong);
        EXPECT_EQ(setting.run(music).groups.size(), 2U);
    }
}

TEST(DuplicateFinderTest, OfIdenticalFilesTheOneToKeepSpeaksOrElseOneWithATellingName) {
    const char* const kept[] = {"a.mp3", "Band - Song 1.mp3", "Band - Song 2.mp3"};
    for (const char* keep : kept) {
        MusicFolder music;
        for (const char* name : kept) {
            music.tree.file(name, noise(k100, 1));
            music.tree.setTimes(name, name == keep ? 1'000'000'000 : 1'100'000'000);
        }
        music.tree.file("Band - Song 1.ogg", noise(5000, 2));
        music.tree.file("Band - Song 2.ogg", noise(5001, 2));
        music.scan();
        Setting setting;
        const Seen run = setting.run(music);
        EXPECT_EQ(music.sets(run.groups, DupKind::identical), (Sets{{kept[0], kept[1], kept[2]}}));
        const Sets songs = music.sets(run.groups, DupKind::sameSong);
        ASSERT_EQ(songs.size(), 1U) << keep;
        if (keep != kept[0]) {
            EXPECT_TRUE(songs.begin()->contains(keep == kept[1] ? "Band - Song 1.ogg"
                                                                : "Band - Song 2.ogg"))
                << keep;
        }
    }
}

// --- Fingerprints -------------------------------------------------------------------------------

std::string printOf(unsigned seed) {
    std::mt19937 random(seed);
    std::string out = "DURATION=90\nFINGERPRINT=";
    for (int i = 0; i < 60; ++i)
        out += (i > 0 ? "," : "") + std::to_string(static_cast<std::uint32_t>(random()));
    return out + "\n";
}

/// Six files of one song by their tags.
struct Heard {
    MusicFolder music;
    Setting setting;

    Heard() {
        for (int i = 0; i < 6; ++i)
            music.tree.file(name(i), noise(2000 + static_cast<std::size_t>(i), 1));
        music.scan();
        for (int i = 0; i < 6; ++i)
            music.tag(name(i), song("The Band", "Song", 1000, AudioCodec::mp3));
        setting.options.stages.insert(DupStage::fingerprint);
        setting.fpcalc = "/fake/fpcalc";
    }

    static std::string name(int i) { return std::to_string(i) + ".mp3"; }

    void sounds(int i, unsigned seed, int status = 0) {
        setting.launcher.prints(music.tree.path(name(i)), printOf(seed), status);
    }
};

TEST(DuplicateFinderTest, FingerprintsPartAGroupIntoWhatMatches) {
    Heard heard;
    for (int i = 0; i < 6; ++i)
        heard.sounds(i, i < 3 ? 1 : i < 5 ? 2 : 3);
    const Seen run = heard.setting.run(heard.music);
    EXPECT_EQ(heard.music.sets(run.groups, DupKind::sameSong),
              (Sets{{"0.mp3", "1.mp3", "2.mp3"}, {"3.mp3", "4.mp3"}}));
    for (const DupGroup& group : run.groups)
        EXPECT_EQ(group.confirmed, true);
    for (const Command& command : heard.setting.launcher.commands()) {
        EXPECT_EQ(command.program, "/fake/fpcalc");
        ASSERT_EQ(command.arguments.size(), 4U);
        EXPECT_EQ((std::vector(command.arguments.begin(), command.arguments.begin() + 3)),
                  (std::vector<std::string>{"-raw", "-length", "90"}));
    }
    EXPECT_EQ(heard.setting.launcher.commands().size(), 6U);
    EXPECT_EQ(run.told.back().done, 6U);
    EXPECT_EQ(run.told.back().total, 6U);
    EXPECT_EQ(run.told.back().groups, 2U);
}

TEST(DuplicateFinderTest, WithoutAnyMatchAGroupIsUnconfirmed) {
    Heard unlike;
    for (int i = 0; i < 6; ++i)
        unlike.sounds(i, static_cast<unsigned>(i));
    Seen run = unlike.setting.run(unlike.music);
    ASSERT_EQ(run.groups.size(), 1U);
    EXPECT_EQ(run.groups[0].confirmed, false);
    EXPECT_EQ(run.groups[0].members.size(), 6U);

    Heard mute; // one ends with another status, one prints nothing of use, the rest do not start
    mute.sounds(0, 1, 3);
    mute.setting.launcher.prints(mute.music.tree.path("1.mp3"), "DURATION=3\n");
    run = mute.setting.run(mute.music);
    ASSERT_EQ(run.groups.size(), 1U);
    EXPECT_EQ(run.groups[0].confirmed, false);
    EXPECT_EQ(run.leftOut.withoutFingerprint, 6U);
}

TEST(DuplicateFinderTest, WithoutFpcalcGroupsStayAsTheyAre) {
    Heard heard;
    heard.setting.fpcalc.reset();
    const Seen run = heard.setting.run(heard.music);
    ASSERT_EQ(run.groups.size(), 1U);
    EXPECT_FALSE(run.groups[0].confirmed);
    EXPECT_EQ(run.told.back().stage, DupStage::fingerprint);
    EXPECT_EQ(run.told.back().title(), "Acoustic fingerprint (fpcalc) — fpcalc not installed");
    EXPECT_EQ(run.told.front().title(), "Same size");
}

// --- Progress and cancelling --------------------------------------------------------------------

/// Something for every stage: identical small and big files, and a song.
struct Everything {
    MusicFolder music;
    Setting setting;

    Everything() {
        for (int i = 0; i < 30; ++i)
            for (const char* folder : {"a/", "b/"})
                music.tree.file(
                    folder + std::to_string(i) + ".mp3",
                    noise(2000 + static_cast<std::size_t>(i), static_cast<unsigned>(i)));
        for (int i = 0; i < 4; ++i)
            for (const char* folder : {"a/", "b/"})
                music.tree.file(folder + std::to_string(i) + ".wav",
                                noise(3 * m1, static_cast<unsigned>(i)));
        for (int i = 0; i < 10; ++i)
            for (const char* ext : {".mp3", ".ogg"})
                music.tree.file(
                    "Band - Song " + std::to_string(i) + ext,
                    noise(5000 + static_cast<std::size_t>(i) * 2 + (ext[1] == 'o' ? 1 : 0), 9));
        music.scan();
        setting.options.stages.insert(DupStage::fingerprint);
        setting.fpcalc = "/fake/fpcalc";
    }
};

TEST(DuplicateFinderTest, EveryStageTellsHowFarItIs) {
    Everything all;
    const Seen run = all.setting.run(all.music);
    EXPECT_EQ(run.stages(), std::vector(allDupStages.begin(), allDupStages.end()));
    EXPECT_EQ(run.groups.size(), 44U);
    std::map<DupStage, Progress> last;
    for (const Progress& now : run.told) {
        const auto before = last.find(now.stage);
        if (before == last.end()) {
            EXPECT_EQ(now.done, 0U);
        } else {
            EXPECT_GE(now.done, before->second.done);
            EXPECT_EQ(now.total, before->second.total);
        }
        EXPECT_LE(now.done, now.total);
        last[now.stage] = now;
    }
    const std::tuple<DupStage, std::size_t, std::size_t> wanted[] = {
        {DupStage::size, 88, 0},
        {DupStage::quickHash, 68, 30},
        {DupStage::fullHash, 8, 34},
        {DupStage::sameSong, 88, 44},
        {DupStage::fingerprint, 20, 44}};
    for (const auto& [stage, items, groups] : wanted) {
        EXPECT_EQ(last[stage].done, items) << caseName(stage);
        EXPECT_EQ(last[stage].total, items) << caseName(stage);
        EXPECT_EQ(last[stage].groups, groups) << caseName(stage);
    }
}

TEST(DuplicateFinderTest, CancelledAtAStageItReturnsWhatIsCertainByThen) {
    const std::pair<DupStage, std::size_t> cases[] = {{DupStage::size, 0},
                                                      {DupStage::quickHash, 0},
                                                      {DupStage::fullHash, 30},
                                                      {DupStage::sameSong, 34},
                                                      {DupStage::fingerprint, 44}};
    for (const auto& [stage, groups] : cases) {
        Everything all;
        const DupStage cancelAt = stage;
        all.setting.onProgress = [cancelAt](DuplicateFinder& finder, const Progress& now) {
            if (now.stage == cancelAt)
                finder.cancel();
        };
        const Seen run = all.setting.run(all.music);
        EXPECT_EQ(run.groups.size(), groups) << caseName(stage);
        EXPECT_EQ(run.stages().back(), stage) << "a later stage began";
        for (const DupGroup& group : run.groups)
            EXPECT_FALSE(group.confirmed);
        EXPECT_TRUE(all.setting.launcher.commands().empty());
    }
}

TEST(DuplicateFinderTest, CancelledBeforeTheFullHashWhatNeedsItIsNotReported) {
    Everything all;
    all.setting.onProgress = [](DuplicateFinder& finder, const Progress& now) {
        if (now.stage == DupStage::quickHash && now.done == now.total)
            finder.cancel();
    };
    EXPECT_EQ(all.setting.run(all.music).groups.size(), 30U) << "of 34 with equal ends";
    all.setting.options.stages = {DupStage::size, DupStage::quickHash};
    EXPECT_EQ(all.setting.run(all.music).groups.size(), 34U) << "where no more was asked for";
}

TEST(DuplicateFinderTest, CancelledInTheMiddleOfAStageItReadsNoFurther) {
    for (const char* when : {"quick", "full"}) {
        Everything all;
        all.setting.options.threads = 1;
        std::atomic<int> reads = 0;
        DuplicateFinder* finder = nullptr;
        const bool isFull = when[0] == 'f';
        all.setting.onProgress = [&](DuplicateFinder& self, const Progress&) { finder = &self; };
        all.setting.reads.afterRead = [&](const std::string& path) {
            const bool counts =
                !isFull || (path.ends_with(".wav") && all.setting.reads.tally(path).opened == 2);
            if (counts && ++reads == 3)
                finder->cancel();
        };
        const Seen run = all.setting.run(all.music);
        EXPECT_LE(reads, 4) << when;
        EXPECT_EQ(run.stages().back(), isFull ? DupStage::fullHash : DupStage::quickHash);
        EXPECT_LT(run.told.back().done, run.told.back().total);
        EXPECT_EQ(run.groups.size(), isFull ? 30U : 1U) << "two of the three were a pair";
    }
}

TEST(DuplicateFinderTest, CancelledWhileFpcalcRunsGroupsNotDecidedStayUnjudged) {
    Everything all;
    DuplicateFinder* finder = nullptr;
    all.setting.onProgress = [&](DuplicateFinder& self, const Progress&) { finder = &self; };
    all.setting.launcher.beforeRun = [&](const Command&) { finder->cancel(); };
    const Seen run = all.setting.run(all.music);
    EXPECT_EQ(run.groups.size(), 44U);
    for (const DupGroup& group : run.groups)
        EXPECT_FALSE(group.confirmed);
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
