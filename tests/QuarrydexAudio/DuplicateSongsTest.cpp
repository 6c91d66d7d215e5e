/// Same-song groups of a run: tags, names, lengths, fingerprints.
#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "tests/support/DupRun.h"

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

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

// --- The same song ------------------------------------------------------------------------------

TEST(DuplicateSongsTest, ASongInTwoFormatsIsFoundWithinTheTolerance) {
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

TEST(DuplicateSongsTest, TagsOfAnOlderStateOfAFileDoNotCount) {
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

TEST(DuplicateSongsTest, EmptyRowsAreNoMetadata) {
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

TEST(DuplicateSongsTest, IdenticalGroupsStayAndOneOfThemSpeaksInTheSongGroup) {
    // a is the older copy, so the one to keep. Where the pair loses, its surplus file speaks.
    using Paths = std::vector<std::string>;
    const Paths identical = {"a.mp3", "b.mp3"};
    const std::pair<AudioCodec, Paths> cases[] = {{AudioCodec::flac, {"c.x.mp3", "b.mp3"}},
                                                  {AudioCodec::unknown, {"a.mp3", "c.x.mp3"}}};
    for (const auto& [codec, sameSong] : cases) {
        MusicFolder music;
        music.tree.file("a.mp3", noise(k100, 1));
        music.tree.file("b.mp3", noise(k100, 1));
        music.tree.file("c.x.mp3", noise(5000, 2));
        music.tree.setTimes("a.mp3", 1'000'000'000);
        music.scan();
        music.tag("a.mp3", song("The Band", "Song", 1000, AudioCodec::mp3));
        music.tag("b.mp3", song("The Band", "Song", 1000, AudioCodec::mp3));
        AudioMeta other = song("The Band", "Song", 1000, codec);
        if (codec == AudioCodec::unknown)
            other.bitrateKbps = 1;
        music.tag("c.x.mp3", other);
        Setting setting;
        for (const DupGroup& group : setting.run(music).groups)
            EXPECT_EQ(music.paths(group), group.kind == DupKind::identical ? identical : sameSong);
        EXPECT_EQ(setting.run(music).groups.size(), 2U);
    }
}

TEST(DuplicateSongsTest, OfIdenticalFilesTheOneToKeepSpeaksOrElseOneWithATellingName) {
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

TEST(DuplicateSongsTest, FingerprintsPartAGroupIntoWhatMatches) {
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

TEST(DuplicateSongsTest, WithoutAnyMatchAGroupIsUnconfirmed) {
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

TEST(DuplicateSongsTest, WithoutFpcalcGroupsStayAsTheyAre) {
    Heard heard;
    heard.setting.fpcalc.reset();
    const Seen run = heard.setting.run(heard.music);
    ASSERT_EQ(run.groups.size(), 1U);
    EXPECT_FALSE(run.groups[0].confirmed);
    EXPECT_EQ(run.told.back().stage, DupStage::fingerprint);
    EXPECT_EQ(run.told.back().title(), "Acoustic fingerprint (fpcalc) — fpcalc not installed");
    EXPECT_EQ(run.told.front().title(), "Same size");
}

} // namespace
} // namespace quarrydex
