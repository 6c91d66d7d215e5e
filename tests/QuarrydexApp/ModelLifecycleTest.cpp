// Volumes that come, go, change and are saved, over a machine made of tables.

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexApp/prefs/Prefs.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeChangeStream.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeDirReader.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/fakes/FakeVolumeInfo.h"
#include "tests/support/EventLoop.h"
#include "tests/support/QtApplication.h"
#include "tests/support/TempTree.h"

#include <QCoreApplication>

#include <filesystem>
#include <functional>
#include <memory>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quarrydex {

namespace {

using testing::comesTo;
using Paths = std::set<std::string>;

/// A machine with a system drive and a stick.
class ModelLifecycleTest : public ::testing::Test {
  protected:
    ModelLifecycleTest() {
        folders.dataPath = home.path("data");
        folders.runtimePath = home.path("run");
        disk.folders["/"];
        disk.folders["/media/stick"];
        disk.add("/media/stick", "one.mp3", {.size = 1, .mtime = 1000});
        disk.addFolder("/media/stick", "sub", {.mtime = 1000});
        disk.add("/media/stick/sub", "two.mp3", {.size = 2, .mtime = 1000});
        volumes.volumes["/"] = {.uuid = "SYSTEM"};
        volumes.volumes["/media/stick"] = {.uuid = "STICK", .label = "Stick"};
    }

    void makeModel(ModelOptions options) {
        options.persist = true;
        options.prefs = &prefs;
        model.reset();
        model = std::make_unique<Model>(
            std::move(options), Platform{disk, clock, mounts, volumes, folders, settings, streams});
        model->setQuery("mp3");
        model->startScans();
    }

    /// A model over the stick, watched.
    void startOnStick() {
        makeModel({.roots = {"/media/stick"}});
        attach();
        ASSERT_TRUE(comesTo([&] { return !model->anyUpdating(); }));
    }

    /// Reports a change, and lets the watcher have its pause.
    void tell(std::uint32_t flags, const std::string& path = "/media/stick") {
        streams.deliver({{path, flags, ++eventId}});
        ASSERT_TRUE(comesTo([&] { return clock.waiting() > 0; }));
        clock.advance(1);
    }

    [[nodiscard]] Paths bothAnd(const std::string& path) const {
        Paths all = both;
        all.insert(path);
        return all;
    }

    /// Lets the streams say that the past is over.
    void attach() {
        ASSERT_TRUE(comesTo([&] { return streams.isPlaying(); }));
        streams.deliver({{"/media/stick", ChangeFlags::historyDone, ++eventId}});
    }

    bool comesToFind(const Paths& wanted) {
        return comesTo([&] {
            const ResultSet& results = *model->results();
            Paths found;
            for (Row row : results.rows)
                found.insert(results.indexes[rowVolume(row)]->path(rowEntry(row)));
            return results.generation == model->generation() && found == wanted;
        });
    }

    [[nodiscard]] std::vector<std::string> saved(const char* extension = ".idx") const {
        std::vector<std::string> found;
        std::error_code error;
        for (const auto& file : std::filesystem::directory_iterator(folders.dataPath, error))
            if (file.path().extension() == extension)
                found.push_back(file.path().string());
        return found;
    }

    [[nodiscard]] std::uint32_t savedCount() const {
        const auto files = saved();
        const auto header = files.empty() ? std::nullopt : VolumeIndex::peek(files[0]);
        return header ? header->count : 0;
    }

    TempTree home;
    FakeDirReader disk;
    InstalledDirReader installed{disk};
    FakeClock clock;
    FakeMountTable mounts{{aMount(1, "/"), aMount(2, "/media/stick")}};
    FakeVolumeInfo volumes;
    FakeAppFolders folders;
    FakeSettings settings;
    FakeChangeStreams streams;
    Prefs prefs{settings, folders, mounts};
    std::uint64_t eventId = 100;
    std::unique_ptr<Model> model;

    const Paths both = {"/media/stick/one.mp3", "/media/stick/sub/two.mp3"};
};

} // namespace

TEST_F(ModelLifecycleTest, UnpluggedDriveStaysSearchableAndIsCaughtUpWhenItComesBack) {
    startOnStick();
    ASSERT_TRUE(comesToFind(both));
    mounts.set({aMount(1, "/")});
    ASSERT_TRUE(comesTo([&] { return model->volumes()[0]->offline; }));
    EXPECT_TRUE(comesToFind(both));
    EXPECT_EQ(statusSuffix(*model->volumes()[0]), " · not connected");
    EXPECT_TRUE(model->volumes()[0]->catalogDate.has_value());
    EXPECT_TRUE(comesTo([&] { return !streams.isPlaying(); })) << "nothing may hold the drive";

    // Another drive in the same place is not it.
    volumes.volumes["/media/stick"].uuid = "OTHER";
    mounts.set({aMount(1, "/"), aMount(3, "/media/stick")});
    volumes.volumes["/media/stick"].uuid = "STICK";
    mounts.set({aMount(1, "/")});

    disk.add("/media/stick/sub", "elsewhere.mp3", {.size = 3, .mtime = 2000});
    mounts.set({aMount(1, "/"), aMount(4, "/media/stick")});
    ASSERT_TRUE(comesTo([&] { return !model->volumes()[0]->offline && streams.isPlaying(); }));
    EXPECT_TRUE(streams.opened().back().since.has_value()) << "from where it was left";
    streams.deliver({{"/media/stick/sub", 0, ++eventId},
                     {"/media/stick", ChangeFlags::historyDone, ++eventId}});
    EXPECT_TRUE(comesToFind(bothAnd("/media/stick/sub/elsewhere.mp3")));
    EXPECT_TRUE(comesTo([&] { return !model->anyUpdating(); }));
}

TEST_F(ModelLifecycleTest, WithoutOfflineCataloguesAnUnpluggedDriveGoesButIsSaved) {
    prefs.setKeepOffline(false);
    startOnStick();
    ASSERT_TRUE(comesToFind(both));
    mounts.set({aMount(1, "/")});
    EXPECT_TRUE(comesToFind({}));
    EXPECT_TRUE(model->volumes().empty());
    EXPECT_TRUE(comesTo([&] { return savedCount() == 4; }));
}

TEST_F(ModelLifecycleTest, ChangesAreSavedOnceAMinuteAtMostAndNothingElseIs) {
    startOnStick();
    ASSERT_TRUE(comesTo([&] { return savedCount() == 4; })) << "after the scan";
    disk.add("/media/stick/sub", "three.mp3", {.size = 3, .mtime = 2000});
    tell(0, "/media/stick/sub");
    ASSERT_TRUE(comesToFind(bothAnd("/media/stick/sub/three.mp3")));
    ASSERT_TRUE(comesTo([ticks = 0]() mutable { return ++ticks > 1200; })); // two ticks and more
    EXPECT_EQ(savedCount(), 4U) << "not yet";
    clock.advance(61);
    EXPECT_TRUE(comesTo([&] { return savedCount() == 5; }));

    // With nothing to save, nothing is written, however long it takes.
    const auto written = std::filesystem::last_write_time(saved()[0]);
    clock.advance(100'000);
    ASSERT_TRUE(comesTo([ticks = 0]() mutable { return ++ticks > 1200; }));
    EXPECT_EQ(std::filesystem::last_write_time(saved()[0]), written);
}

TEST_F(ModelLifecycleTest, ARootThatIsAnotherFolderNowIsScannedBesideTheOldOne) {
    startOnStick();
    ASSERT_TRUE(comesToFind(both));
    const auto before = model->volumes()[0];
    disk.add("/media/stick", "fresh.mp3", {.size = 9, .mtime = 3000});
    tell(ChangeFlags::rootChanged);
    ASSERT_TRUE(comesTo([&] { return streams.opened().size() == 2; }));
    EXPECT_EQ(model->volumes()[0], before) << "searched until the new one is complete";
    EXPECT_EQ(statusSuffix(*before), " · updating …");
    attach();
    EXPECT_TRUE(comesToFind(bothAnd("/media/stick/fresh.mp3")));
    EXPECT_NE(model->volumes()[0], before);
    EXPECT_TRUE(comesTo([&] { return !model->anyUpdating(); }));
}

TEST_F(ModelLifecycleTest, SourcesDecideWhatIsIndexedAndNewDrivesAreOffered) {
    disk.folders["/docs"];
    disk.add("/docs", "paper.mp3", {.size = 1, .mtime = 1000});
    prefs.setConfigured(true);
    prefs.setSource("SYSTEM", {.enabled = true, .whole = false, .folders = {"docs"}});
    makeModel({});
    ASSERT_TRUE(comesTo([&] { return streams.isPlaying(); }));
    streams.deliver({{"/docs", ChangeFlags::historyDone, ++eventId}});
    EXPECT_TRUE(comesToFind({"/docs/paper.mp3"}));
    ASSERT_EQ(model->newDrives().size(), 1U);
    EXPECT_EQ(model->newDrives()[0],
              (Candidate{"STICK", "Stick", "/media/stick", /*isInternal=*/false}));

    model->indexNewDrive(Candidate(model->newDrives()[0]));
    EXPECT_TRUE(model->newDrives().empty());
    ASSERT_TRUE(comesTo([&] { return streams.opened().size() == 2; }));
    attach();
    const Paths all = bothAnd("/docs/paper.mp3");
    EXPECT_TRUE(comesToFind(all));

    prefs.setSource("STICK", {.enabled = false, .whole = true, .folders = {}});
    model->applySources();
    EXPECT_TRUE(comesToFind({"/docs/paper.mp3"}));

    // Chosen again, unplugged while the program is down: the catalogue alone answers.
    prefs.setSource("STICK", {});
    model->applySources();
    ASSERT_TRUE(comesTo([&] { return streams.opened().size() == 3; }));
    attach();
    EXPECT_TRUE(comesToFind(all));
    model->saveAll();
    mounts.set({aMount(1, "/")});
    makeModel({});
    ASSERT_TRUE(comesTo([&] { return streams.opened().size() == 4; }));
    streams.deliver({{"/docs", ChangeFlags::historyDone, ++eventId}});
    EXPECT_TRUE(comesToFind(all));
    const auto& stick = model->volumes()[0];
    EXPECT_TRUE(stick->offline);
    EXPECT_EQ(statusSentence(*stick).find("stick is not connected. The catalog (4 entries, as of "),
              0U)
        << statusSentence(*stick);

    model->forgetCatalog(model->volumes()[0]);
    EXPECT_TRUE(comesToFind({"/docs/paper.mp3"}));
    EXPECT_TRUE(comesTo([&] { return saved().size() == 1; })) << "the system's alone";
}

TEST_F(ModelLifecycleTest, ADriveThatGoesWhileItIsScannedAnewKeepsItsOldCatalogue) {
    startOnStick();
    ASSERT_TRUE(comesToFind(both));
    model->rescan(model->volumes()[0]);
    ASSERT_TRUE(comesTo([&] { return streams.opened().size() == 2; }));
    disk.folders["/media/stick"].children.clear(); // the empty folder below the mount
    mounts.set({aMount(1, "/")});
    ASSERT_TRUE(comesTo([&] { return model->volumes()[0]->offline; }));
    streams.deliver({{"/media/stick", ChangeFlags::historyDone, ++eventId}});
    EXPECT_TRUE(comesTo([&] { return !model->anyUpdating(); }));
    EXPECT_TRUE(comesToFind(both));
    model->saveAll();
    EXPECT_EQ(savedCount(), 4U);
}

TEST_F(ModelLifecycleTest, EveryVolumeTogetherIsInOneNameOrder) {
    disk.folders["/media/other"];
    for (int i = 0; i < 300; ++i)
        disk.add(i % 2 == 0 ? "/media/stick" : "/media/other", "mp3 " + std::to_string(i * 7 % 300),
                 {.size = 1, .mtime = 1000});
    volumes.volumes["/media/other"] = {.uuid = "OTHER"};
    makeModel({.roots = {"/media/stick", "/media/other"}, .watches = false});
    const auto isSorted = [&] {
        const ResultSet& results = *model->results();
        return results.rows.size() == 302 && std::ranges::is_sorted(results.rows, {}, [&](Row row) {
                   return results.indexes[rowVolume(row)]->foldedName(rowEntry(row));
               });
    };
    EXPECT_TRUE(comesTo(isSorted));
    // The order's file shows that it was built; results then come from it.
    ASSERT_TRUE(comesTo([&] { return !saved(".ord").empty(); }));
    model->runSearch(false);
    EXPECT_TRUE(comesTo(isSorted));
}

} // namespace quarrydex
