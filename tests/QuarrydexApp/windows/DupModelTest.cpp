#include "QuarrydexApp/windows/DupModel.h"

#include "QuarrydexCore/base/Files.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/DupDesk.h"
#include "tests/support/WidgetsApplication.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::DupDesk;
using testing::noise;
using State = DupModel::State;
using Outcome = DupModel::Exported::Outcome;

void run(DupModel& dupes) {
    dupes.start(dupes.connectedVolumes());
    EXPECT_TRUE(DupDesk::comesToEnd(dupes));
}

/// The titles of what a run was at, in order.
std::vector<std::string> titlesOf(DupModel& dupes) {
    std::vector<std::string> titles;
    const auto note = [&] {
        if (titles.empty() || titles.back() != dupes.progress().title)
            titles.push_back(dupes.progress().title);
    };
    const auto connection = QObject::connect(&dupes, &DupModel::progressed, note);
    run(dupes);
    QObject::disconnect(connection);
    return titles;
}

TEST(DupModelTest, ARunTellsItsStagesAndEndsWithGroupsAndTotals) {
    DupDesk desk;
    desk.twoGroups();
    DupModel dupes(*desk.model, desk.tools());
    EXPECT_EQ(dupes.state(), State::idle);
    const std::vector<std::string> titles = titlesOf(dupes);
    EXPECT_EQ(titles,
              (std::vector<std::string>{title(DupStage::size), title(DupStage::quickHash),
                                        title(DupStage::fullHash), title(DupStage::sameSong)}));
    EXPECT_EQ(dupes.state(), State::done);
    ASSERT_EQ(dupes.groups().size(), 2U);
    EXPECT_EQ(dupes.surplus(), (DupResult::Surplus{2, 9000}));
    EXPECT_EQ(dupes.filesConsidered(), 4U);
    EXPECT_EQ(dupes.driveOf(dupes.groups()[0].members[1]), "b");
    EXPECT_TRUE(dupes.notices().empty());
}

TEST(DupModelTest, OptionsDecideWhatIsLookedFor) {
    using Options = DupModel::Options;
    const std::pair<Options, std::size_t> cases[] = {{{.sameSong = false}, 1},
                                                     {{.identical = false}, 1},
                                                     {{.minSize = 5000}, 1},
                                                     {{.minSize = 6000}, 0},
                                                     {{.toleranceMs = 0}, 2}};
    DupDesk desk;
    desk.twoGroups();
    DupModel dupes(*desk.model, desk.tools());
    for (const auto& [options, groups] : cases) {
        dupes.setOptions(options);
        run(dupes);
        EXPECT_EQ(dupes.groups().size(), groups) << "case " << &options - &cases[0].first;
    }
    dupes.setOptions({.identical = false, .sameSong = false});
    dupes.start(dupes.connectedVolumes());
    EXPECT_EQ(dupes.state(), State::done) << "nothing to look for, no run";
}

TEST(DupModelTest, CancelledItKeepsWhatItHasAndSaysSo) {
    DupDesk desk;
    desk.fpcalc = "/fake/fpcalc";
    desk.twoGroups();
    DupModel dupes(*desk.model, desk.tools());
    dupes.setOptions({.acoustic = true});
    dupes.start(dupes.connectedVolumes());
    ASSERT_TRUE(comesTo([&] { return desk.launcher.isRunning(); }));
    dupes.start(dupes.connectedVolumes()); // no second one beside it
    dupes.cancel();
    EXPECT_EQ(dupes.state(), State::running);
    EXPECT_TRUE(dupes.isCancelling());
    ASSERT_TRUE(DupDesk::comesToEnd(dupes));
    EXPECT_EQ(dupes.state(), State::cancelled);
    EXPECT_FALSE(dupes.isCancelling());
    EXPECT_EQ(dupes.groups().size(), 2U);
    dupes.setOptions({});
    dupes.start(dupes.connectedVolumes());
    EXPECT_TRUE(dupes.groups().empty());
    ASSERT_TRUE(DupDesk::comesToEnd(dupes));
    EXPECT_EQ(dupes.state(), State::done) << "a cancelled run leaves nothing behind";
}

TEST(DupModelTest, DrivesThatAreNotConnectedOrNotAskedForAreLeftOut) {
    DupDesk desk;
    desk.twoGroups();
    desk.music.tree.file("c/3.mp3", noise(5000, 1));
    desk.drive("c").offline = true;
    DupModel dupes(*desk.model, desk.tools());
    EXPECT_EQ(dupes.connectedVolumes(), (std::vector<std::string>{"a", "b"}));
    dupes.start({"b", "c"});
    ASSERT_TRUE(DupDesk::comesToEnd(dupes));
    EXPECT_TRUE(dupes.groups().empty());
    EXPECT_EQ(dupes.filesConsidered(), 1U);
    EXPECT_EQ(dupes.notices(), std::vector<std::string>{"“c” is not connected and is left out."});
}

TEST(DupModelTest, TagsAreReadBeforeTheyAreNeeded) {
    DupDesk desk;
    desk.model = std::make_unique<Model>(ModelOptions{});
    for (int i : {1, 2}) {
        const std::string rel = "a/" + std::to_string(i) + ".mp3";
        desk.music.tree.file(rel, bytes::id3Tag(4, bytes::id3Text(4, "TPE1", "The Band") +
                                                       bytes::id3Text(4, "TIT2", "Song")) +
                                      bytes::mpegFrames(10 + i));
        desk.music.tree.setTimes(rel, 1'600'000'000);
    }
    VolumeState& drive = desk.drive("a");
    DupModel dupes(*desk.model, desk.tools());
    drive.updating = true; // what there is to read is not known yet
    dupes.start(dupes.connectedVolumes());
    EXPECT_EQ(dupes.state(), State::running);
    EXPECT_EQ(dupes.progress().title, "Bringing the catalogs up to date");
    dupes.cancel();
    EXPECT_EQ(dupes.state(), State::cancelled) << "waiting ends at once";
    drive.updating = false;
    const std::vector<std::string> titles = titlesOf(dupes);
    ASSERT_EQ(dupes.groups().size(), 1U);
    EXPECT_EQ(dupes.groups()[0].kind, DupKind::sameSong);
    EXPECT_EQ(titles.back(), title(DupStage::sameSong));
}

TEST(DupModelTest, ListsSayWhatIsChosenWhenTheyAreAskedFor) {
    DupDesk desk;
    desk.twoGroups();
    DupModel dupes(*desk.model, desk.tools());
    run(dupes);
    const std::size_t song = dupes.groups()[0].kind == DupKind::sameSong ? 0 : 1;
    std::vector<std::vector<std::size_t>> told;
    QObject::connect(&dupes, &DupModel::groupsChanged,
                     [&](const std::vector<std::size_t>& groups) { told.push_back(groups); });

    const std::string list = desk.music.tree.path("list.m3u");
    const auto surplusIs = [&](const char* surplus, const char* kept) {
        std::string text;
        EXPECT_EQ(readFile(list, 1U << 20, text), 0);
        return text.find(surplus) != std::string::npos && text.find(kept) == std::string::npos;
    };
    bool isWritten = false;
    const auto note = [&](const DupModel::Exported& done) {
        isWritten = done.outcome == Outcome::written;
    };
    dupes.exportList(DupList::m3uSurplus, list, note);
    dupes.setKeep(song, 1 - dupes.groups()[song].keep);
    dupes.setKeep(song, dupes.groups()[song].keep);
    EXPECT_EQ(told, std::vector<std::vector<std::size_t>>{{song}});
    EXPECT_EQ(dupes.surplus(), (DupResult::Surplus{2, 14'000}));
    ASSERT_TRUE(comesTo([&] { return isWritten; }));
    EXPECT_TRUE(surplusIs("/a/y.mp3\n", "/a/x.flac\n")) << "as it was when it was asked for";
    isWritten = false;
    dupes.exportList(DupList::m3uSurplus, list, note);
    ASSERT_TRUE(comesTo([&] { return isWritten; }));
    EXPECT_TRUE(surplusIs("/a/x.flac\n", "/a/y.mp3\n"));

    std::optional<Outcome> failed;
    dupes.exportList(DupList::csv, desk.music.tree.path("no such folder/list.csv"),
                     [&](const DupModel::Exported& done) { failed = done.outcome; });
    ASSERT_TRUE(comesTo([&] { return failed.has_value(); }));
    EXPECT_EQ(failed, Outcome::failed);
}

} // namespace
} // namespace quarrydex
