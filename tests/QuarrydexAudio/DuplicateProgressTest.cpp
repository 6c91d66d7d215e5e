/// What a run tells of itself, and what is left of one that is cancelled.
#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "tests/support/DupRun.h"

#include <atomic>
#include <map>
#include <tuple>

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

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

TEST(DuplicateProgressTest, EveryStageTellsHowFarItIs) {
    Everything all;
    const Seen run = all.setting.run(all.music);
    EXPECT_EQ(run.stages(), std::vector(allDupStages.begin(), allDupStages.end()));
    EXPECT_EQ(run.groups.size(), 44U);
    EXPECT_EQ(all.setting.reads.tally(all.music.tree.path("a/0.mp3")).opened, 1) << "one pass each";
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

TEST(DuplicateProgressTest, CancelledAtAStageItReturnsWhatIsCertainByThen) {
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

TEST(DuplicateProgressTest, CancelledBeforeTheFullHashWhatNeedsItIsNotReported) {
    Everything all;
    all.setting.onProgress = [](DuplicateFinder& finder, const Progress& now) {
        if (now.stage == DupStage::quickHash && now.done == now.total)
            finder.cancel();
    };
    EXPECT_EQ(all.setting.run(all.music).groups.size(), 30U) << "of 34 with equal ends";
    all.setting.options.stages = {DupStage::size, DupStage::quickHash};
    EXPECT_EQ(all.setting.run(all.music).groups.size(), 34U) << "where no more was asked for";
}

TEST(DuplicateProgressTest, CancelledInTheMiddleOfAStageItReadsNoFurther) {
    Everything all;
    all.setting.options.threads = 1;
    int reads = 0;
    DuplicateFinder* finder = nullptr;
    all.setting.onProgress = [&](DuplicateFinder& self, const Progress&) { finder = &self; };
    all.setting.reads.afterRead = [&](const std::string& path) {
        const bool isFull = path.ends_with(".wav") && all.setting.reads.tally(path).opened == 2;
        if (isFull && ++reads == 3)
            finder->cancel();
    };
    const Seen run = all.setting.run(all.music);
    EXPECT_LE(reads, 4);
    EXPECT_EQ(run.stages().back(), DupStage::fullHash);
    EXPECT_LT(run.told.back().done, run.told.back().total);
    EXPECT_EQ(run.groups.size(), 30U);
}

TEST(DuplicateProgressTest, CancelledWhileFpcalcRunsGroupsNotDecidedStayUnjudged) {
    Everything all;
    std::atomic<DuplicateFinder*> finder = nullptr; // two threads run fpcalc
    all.setting.onProgress = [&](DuplicateFinder& self, const Progress&) { finder = &self; };
    all.setting.launcher.beforeRun = [&](const Command&) { finder.load()->cancel(); };
    const Seen run = all.setting.run(all.music);
    EXPECT_EQ(run.groups.size(), 44U);
    for (const DupGroup& group : run.groups)
        EXPECT_FALSE(group.confirmed);
}

} // namespace
} // namespace quarrydex
