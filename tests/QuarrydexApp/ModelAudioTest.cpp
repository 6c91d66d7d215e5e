// Searching in tags, from the files on the disk to the results.

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/prefs/Prefs.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeChangeStream.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/fakes/FakeVolumeInfo.h"
#include "tests/support/AudioBytes.h"
#include "tests/support/EventLoop.h"
#include "tests/support/QtApplication.h"
#include "tests/support/TempTree.h"

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::comesTo;
using Paths = std::set<std::string>;

constexpr std::int64_t longAgo = 1'600'000'000;

/// Folders on the disk, on a machine that is otherwise made of tables.
class ModelAudioTest : public ::testing::Test {
  protected:
    ModelAudioTest() {
        folders.dataPath = home.path("data");
        folders.runtimePath = home.path("run");
        volumes.volumes["/"] = {.uuid = "SYSTEM"};
    }

    void song(const std::string& rel, std::string_view artist, std::int64_t mtime = longAgo) {
        tree.file(rel, bytes::id3Tag(4, bytes::id3Text(4, "TPE1", artist)) + bytes::mpegFrames(3));
        tree.setTimes(rel, mtime);
    }

    void start(ModelOptions options) {
        options.prefs = &prefs;
        model = std::make_unique<Model>(std::move(options),
                                        Platform{systemPlatform().dirReader, clock, mounts, volumes,
                                                 folders, settings, streams});
        model->startScans();
    }

    [[nodiscard]] Paths found() const {
        Paths out;
        const ResultSet& results = *model->results();
        for (Row row : results.rows)
            out.insert(results.indexes[rowVolume(row)]
                           ->path(rowEntry(row))
                           .substr(tree.path().size() + 1));
        return out;
    }

    bool comesToFind(const Paths& wanted) {
        return comesTo([&] {
            return model->results()->generation == model->generation() && found() == wanted;
        });
    }

    bool comesToRest() {
        return comesTo([&] { return !model->anyUpdating() && !model->anyAnalysing(); });
    }

    /// Lets the watcher hear of a folder.
    void tell(const std::string& rel, std::uint32_t flags) {
        streams.deliver({{tree.path(rel), flags, ++eventId}});
    }

    TempTree tree;
    TempTree home;
    FakeClock clock;
    FakeMountTable mounts{{aMount(1, "/")}};
    FakeVolumeInfo volumes;
    FakeAppFolders folders;
    FakeSettings settings;
    FakeChangeStreams streams;
    Prefs prefs{settings, folders, mounts};
    std::uint64_t eventId = 100;
    std::unique_ptr<Model> model;
};

} // namespace

TEST_F(ModelAudioTest, ResultsThatDependOnTagsFollowThemByThemselves) {
    song("a/one.mp3", "Wanted");
    start({.roots = {tree.path("a")}});
    model->setQuery("artist:wanted"); // before there is a row
    EXPECT_TRUE(comesToFind({"a/one.mp3"}));

    // Rows that come in from elsewhere, as those of a running pass do.
    const auto index = model->volumes()[0]->index;
    ASSERT_TRUE(comesToRest());
    EXPECT_EQ(model->volumes()[0]->audioDone, 1U);
    EXPECT_EQ(model->volumes()[0]->audioTotal, 1U);
    AudioMeta meta;
    meta.artist = "Nobody";
    const EntryId id = rowEntry(model->results()->rows[0]);
    const AudioTable::Analysed row{id, index->mtime(id), meta};
    index->audio().upsert(std::span(&row, 1));
    EXPECT_TRUE(comesToFind({}));

    // A search that does not look into tags is left alone.
    model->setQuery("one");
    ASSERT_TRUE(comesToFind({"a/one.mp3"}));
    const std::uint64_t before = model->generation();
    const std::int64_t version = index->audioVersion();
    index->audio().upsert(std::span(&row, 1));
    ASSERT_TRUE(comesTo([&] { return model->volumes()[0]->lastAudioVersion > version; }));
    EXPECT_EQ(model->generation(), before);
}

TEST_F(ModelAudioTest, NothingIsReadWhereTagsAreNotWanted) {
    song("a/one.mp3", "Wanted");
    start({.roots = {tree.path("a")}, .analysesAudio = false});
    model->setQuery("one");
    EXPECT_TRUE(comesToFind({"a/one.mp3"}));
    model->analyseAudio();
    EXPECT_FALSE(model->anyAnalysing());
    ASSERT_TRUE(comesTo([ticks = 0]() mutable { return ++ticks > 1200; })); // two ticks and more
    EXPECT_EQ(model->volumes()[0]->index->audioVersion(), 0);
}

TEST_F(ModelAudioTest, WatchedFileIsFoundUnderItsNewTags) {
    song("watched/one.mp3", "Old");
    start({.roots = {tree.path("watched")}, .persist = true});
    ASSERT_TRUE(comesTo([&] { return streams.isPlaying(); }));
    tell("watched", ChangeFlags::historyDone);
    model->setQuery("artist:new");
    ASSERT_TRUE(comesToRest());
    song("watched/one.mp3", "New", longAgo + 1);
    song("watched/sub/two.mp3", "New");
    tell("watched", 0);
    ASSERT_TRUE(comesTo([&] { return clock.waiting() > 0; }));
    clock.advance(60);
    EXPECT_TRUE(comesToFind({"watched/one.mp3", "watched/sub/two.mp3"}));
}

TEST_F(ModelAudioTest, VolumeThatIsMadeAnewReadsNoFileAgainThatIsTheSame) {
    const auto choose = [this](const std::vector<std::string>& rels) {
        SourceConfig source{.enabled = true, .whole = false, .folders = {}};
        for (const std::string& rel : rels)
            source.folders.push_back(tree.path(rel));
        prefs.setSource("SYSTEM", source);
    };
    for (const char* name : {"a/one.mp3", "a/two.mp3"})
        song(name, "First");
    prefs.setConfigured(true);
    choose({"a"});
    start({});
    model->setQuery("artist:first");
    ASSERT_TRUE(comesToFind({"a/one.mp3", "a/two.mp3"}));
    ASSERT_TRUE(comesToRest());

    song("a/one.mp3", "Other"); // of the same size and time: whoever reads it gives itself away
    song("a/two.mp3", "Other", longAgo + 1);
    std::shared_ptr<VolumeIndex> old = model->volumes()[0]->index;
    model->rescan(model->volumes()[0]);
    EXPECT_TRUE(comesToFind({"a/one.mp3"}));
    EXPECT_NE(model->volumes()[0]->index, old);

    // A scan that fails finds nothing, and loses nothing.
    tree.rename("a", "away");
    model->rescan(model->volumes()[0]);
    ASSERT_TRUE(comesTo([&] { return model->volumes()[0]->failure.has_value(); }));
    tree.rename("away", "a");
    model->rescan(model->volumes()[0]);
    EXPECT_TRUE(comesToFind({"a/one.mp3"}));

    // Other folders are chosen, and others again as soon as these are scanned.
    song("b/three.mp3", "First");
    song("c/four.mp3", "First");
    old = model->volumes()[0]->index;
    bool isChosenAgain = false;
    const auto chooseAgain = [&] {
        if (!model->volumes()[0]->scanning || model->volumes()[0]->index == old ||
            std::exchange(isChosenAgain, true))
            return;
        choose({"a", "b", "c"});
        model->indexNewDrive({.identity = "SYSTEM", .name = "", .root = "/", .isInternal = true});
    };
    QObject::connect(model.get(), &Model::volumesChanged, model.get(), chooseAgain,
                     Qt::QueuedConnection);
    choose({"a", "b"});
    model->applySources();
    EXPECT_TRUE(comesToFind({"a/one.mp3", "b/three.mp3", "c/four.mp3"}));
    EXPECT_TRUE(isChosenAgain);
    EXPECT_TRUE(comesToRest());
    EXPECT_EQ(model->volumes()[0]->before, nullptr) << "the old catalogue is let go";
}

TEST_F(ModelAudioTest, FileRetaggedWithinTheSecondThatItWasReadInIsReadAgain) {
    song("a/one.mp3", "First", clock.now());
    song("a/two.mp3", "First", clock.now() - 100);
    start({.roots = {tree.path("a")}});
    model->setQuery("artist:first");
    ASSERT_TRUE(comesToFind({"a/one.mp3", "a/two.mp3"}));
    ASSERT_TRUE(comesToRest());
    song("a/one.mp3", "Other", clock.now()); // same size, same second
    clock.advance(10);
    EXPECT_TRUE(comesToFind({"a/two.mp3"}));
    const auto index = model->volumes()[0]->index;
    ASSERT_TRUE(comesToRest());
    const std::int64_t version = index->audioVersion();
    clock.advance(100);
    ASSERT_TRUE(comesTo([ticks = 0]() mutable { return ++ticks > 1200; })); // two ticks and more
    EXPECT_EQ(index->audioVersion(), version) << "once is enough";
}

} // namespace quarrydex
