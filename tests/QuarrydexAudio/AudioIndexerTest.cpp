#include "QuarrydexAudio/index/AudioIndexer.h"

#include "tests/support/AudioFolder.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::mp3By;
using Pending = AudioIndexer::Pending;

class AudioIndexerTest : public testing::AudioFolder {};

/// Every progress of a run, in turn.
struct Told {
    std::vector<AudioIndexer::Progress> all;

    void listen(AudioIndexer& indexer) {
        indexer.onProgress = [this](const AudioIndexer::Progress& now) { all.push_back(now); };
    }

    /// It never falls and ends with everything done.
    void expectWhole(std::size_t total) const {
        ASSERT_FALSE(all.empty());
        for (std::size_t i = 0; i < all.size(); ++i) {
            EXPECT_EQ(all[i].total, total);
            EXPECT_LE(all[i].done, total);
            EXPECT_GE(all[i].done, i == 0 ? 0 : all[i - 1].done);
        }
        EXPECT_EQ(all.back().done, total);
    }
};

} // namespace

// --- What is read -------------------------------------------------------------------------------

TEST_F(AudioIndexerTest, OnlyLiveFilesOfTheTenKindsAreRead) {
    Names wanted;
    for (const std::string_view ext : AudioIndexer::extensions) {
        wanted.insert("all/a." + std::string(ext));
        file("all/a." + std::string(ext), mp3By("ten"));
    }
    for (const char* name : {"LOUD.MP3", ".hidden.mp3", ".cache/x.mp3", "two.dots.mp3"}) {
        file(name, mp3By("also"));
        wanted.insert(name);
    }
    for (const char* name : {"a.ogg", "a.opus", "a.wma", "a.mp1", "a.mp3x", "mp3", "a.mp3.txt",
                             "._a.mp3", ".Trashes/b.mp3", ".Spotlight-V100/c.mp3"})
        file(name, mp3By("none"));
    tree.folder("folder.mp3");
    file("folder.flac/readme", "");
    file("gone.mp3", mp3By("gone"));
    scan();
    tree.remove("gone.mp3");
    refresh();
    AudioIndexer indexer(index, 3);
    const Pending work = indexer.pending();
    EXPECT_EQ(names(work.todo), wanted);
    EXPECT_TRUE(std::ranges::is_sorted(work.todo));
    EXPECT_EQ(work.total, wanted.size());
    EXPECT_EQ(indexer.run(), wanted.size());
    EXPECT_EQ(names(by("ten")).size(), 10U);
    EXPECT_EQ(index->audio().count(), wanted.size());
    EXPECT_TRUE(by("gone").empty());
}

TEST_F(AudioIndexerTest, WithoutAudioNothingIsDoneAndThatIsTold) {
    file("a.ogg", mp3By("x"));
    file("notes.txt", "text");
    for (const bool hasFolder : {false, true}) {
        if (hasFolder)
            tree.folder("only a folder.mp3"); // its extension is known, its entry is no file
        scan();
        AudioIndexer indexer(index, 2);
        Told told;
        told.listen(indexer);
        EXPECT_EQ(indexer.run(), 0U);
        told.expectWhole(0);
        EXPECT_EQ(index->audioVersion(), 0);
    }
}

TEST_F(AudioIndexerTest, EachFileIsReadOnceUntilItChanges) {
    for (int i = 0; i < 80; ++i)
        file("in/" + std::to_string(i) + ".mp3", mp3By("old"));
    file("text.mp3", std::string(5'000, 'x'));
    file("empty.flac", "");
    scan();
    EXPECT_EQ(run(), 82U);
    for (const char* name : {"text.mp3", "empty.flac"}) {
        const auto meta = index->audio().meta(idOf(name));
        EXPECT_TRUE(meta && meta->isEmpty()) << name;
    }

    const std::int64_t version = index->audioVersion();
    AudioIndexer again(index, 2);
    Told told;
    told.listen(again);
    EXPECT_EQ(again.run(), 0U);
    told.expectWhole(82);
    EXPECT_EQ(index->audioVersion(), version) << "searches would be repeated for nothing";

    // Later, earlier, and what turned out to be no audio and now is.
    for (const auto& [name, mtime] : {std::pair{"in/7.mp3", longAgo + 1},
                                      {"in/8.mp3", longAgo - 1},
                                      {"text.mp3", longAgo + 9}}) {
        file(name, mp3By("new"), mtime);
        EXPECT_EQ(pendingNames(), Names{}) << "before the catalogue knows";
        refresh();
        EXPECT_EQ(pendingNames(), Names{name});
        EXPECT_EQ(run(), 1U);
    }
    EXPECT_EQ(names(by("new")).size(), 3U);
    EXPECT_EQ(names(by("old")).size(), 78U);

    // One that came takes nothing of one that went.
    tree.rename("in/9.mp3", "in/nine.mp3");
    refresh();
    EXPECT_EQ(pendingNames(), Names{"in/nine.mp3"});
    EXPECT_EQ(AudioIndexer(index, 1).pending().total, 82U);
}

TEST_F(AudioIndexerTest, ChangeDuringTheRunIsReadAgain) {
    file("a.mp3", mp3By("first"));
    scan();
    AudioIndexer indexer(index, 1);
    const Pending work = indexer.pending();
    file("a.mp3", mp3By("second"), longAgo + 5); // the catalogue still has the old time
    EXPECT_EQ(indexer.run(work), 1U);
    refresh();
    EXPECT_EQ(pendingNames(), Names{"a.mp3"}) << "the row is of the time that was known then";
    EXPECT_EQ(run(), 1U);
    EXPECT_EQ(run(), 0U);
}

TEST_F(AudioIndexerTest, FileThatCannotBeReadGetsAnEmptyRow) {
    tree.fifo("pipe.mp3"); // must not be waited for
    tree.folder("in");
    tree.link("loop.mp3", "loop.mp3");
    tree.link("folder.mp3", "in");
    scan();
    EXPECT_EQ(run(), 3U);
    for (const char* name : {"pipe.mp3", "loop.mp3", "folder.mp3"})
        EXPECT_EQ(index->audio().meta(idOf(name)), AudioMeta{}) << name;
    EXPECT_EQ(run(), 0U);
}

TEST_F(AudioIndexerTest, TextsAreKeptToTheirLimitInWholeCharacters) {
    constexpr std::size_t limit = AudioIndexer::maxTextBytes;
    std::string accents = "x";
    while (accents.size() < 1U << 20)
        accents += "\xC3\xA9";
    const std::string texts = bytes::comments(
        {"TITLE=" + accents, "ARTIST=" + std::string(1U << 20, 'a'),
         "ALBUM=" + std::string(limit, 'b'), "GENRE=" + std::string(limit - 1, 'c') + " dd",
         "KEY=" + std::string(limit + 1, 'k')});
    file("long.flac", "fLaC" + bytes::flacBlock(0, bytes::streamInfo()) +
                          bytes::flacBlock(4, texts, {.isLast = true}));
    scan();
    EXPECT_EQ(run(), 1U);
    const auto meta = index->audio().meta(idOf("long.flac"));
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->title, accents.substr(0, limit - 1));
    EXPECT_EQ(meta->artist, std::string(limit, 'a'));
    EXPECT_EQ(meta->album, std::string(limit, 'b'));
    EXPECT_EQ(meta->genre, std::string(limit - 1, 'c')) << "no white space at the end";
    EXPECT_EQ(meta->key, std::string(limit, 'k'));
    EXPECT_LT(index->audio().snapshot()->pool.size(), 11 * limit);
}

TEST_F(AudioIndexerTest, WorkCanBeLimitedToSomeEntries) {
    for (const char* name : {"a.mp3", "b.mp3", "c.mp3", "d.txt", "._e.mp3"})
        file(name, mp3By("x"));
    scan();
    std::vector<EntryId> some = {idOf("c.mp3"), idOf("d.txt"), idOf("._e.mp3"), idOf("a.mp3")};
    std::ranges::sort(some, std::greater<>());
    AudioIndexer indexer(index, 2);
    Told told;
    told.listen(indexer);
    const Pending work = indexer.pending(some);
    EXPECT_EQ(names(work.todo), (Names{"a.mp3", "c.mp3"}));
    EXPECT_TRUE(std::ranges::is_sorted(work.todo));
    EXPECT_EQ(indexer.run(work), 2U);
    told.expectWhole(work.total);
    EXPECT_TRUE(indexer.pending(some).todo.empty());
    EXPECT_TRUE(indexer.pending(std::span<const EntryId>()).todo.empty());
    EXPECT_EQ(pendingNames(), Names{"b.mp3"}) << "the others are left to a whole run";
}

// --- Files that have just changed ---------------------------------------------------------------

TEST_F(AudioIndexerTest, FilesThatHaveJustChangedAreReadAgainByALaterRun) {
    file("settled.mp3", mp3By("one"), longAgo - 1);
    file("now.mp3", mp3By("one"), longAgo);
    file("later.mp3", mp3By("one"), longAgo + 1);
    file("text.mp3", "no audio", longAgo + 1);
    file("future.mp3", mp3By("one"), longAgo + 100);
    scan();
    AudioIndexer indexer(index, 2);
    indexer.settledBefore = longAgo;
    indexer.now = longAgo + 10;
    EXPECT_EQ(indexer.run(), 5U);
    EXPECT_TRUE(indexer.hasUnsettled());
    EXPECT_EQ(by("one").size(), 4U) << "all are found at once";
    EXPECT_EQ(pendingNames(), (Names{"later.mp3", "now.mp3", "text.mp3"}));

    file("now.mp3", mp3By("two"), longAgo); // within the second that its time tells
    refresh();
    AudioIndexer later(index, 2);
    later.settledBefore = longAgo + 2;
    EXPECT_EQ(later.run(), 3U);
    EXPECT_FALSE(later.hasUnsettled());
    EXPECT_EQ(names(by("two")), Names{"now.mp3"});
    EXPECT_EQ(pendingNames(), Names{});
}

TEST_F(AudioIndexerTest, FilesThatWentWithTheirDriveKeepTheirTagsAndAreLookedForAgain) {
    file("a.mp3", mp3By("one"));
    file("b.mp3", mp3By("one"));
    scan();
    EXPECT_EQ(run(), 2U);
    file("a.mp3", mp3By("two"), longAgo + 5);
    refresh();
    tree.rename("a.mp3", "away"); // and the catalogue has not heard of it
    EXPECT_EQ(pendingNames(), Names{"a.mp3"});
    EXPECT_EQ(run(), 1U);
    EXPECT_EQ(by("one").size(), 2U);
    EXPECT_EQ(pendingNames(), Names{"a.mp3"});
    tree.rename("away", "a.mp3");
    EXPECT_EQ(run(), 1U);
    EXPECT_EQ(names(by("two")), Names{"a.mp3"});
}

// --- Many files ---------------------------------------------------------------------------------

namespace {

/// So many links to a few files with long tags that a run takes long enough to be seen at work.
class LongRunTest : public AudioIndexerTest {
  protected:
    static constexpr std::size_t mostFiles = 1U << 16;

    static std::string slowMp3() {
        std::string frames;
        for (int i = 0; i < 60; ++i)
            frames += bytes::id3Text(4, "TIT3", "subtitle");
        return bytes::id3Tag(4, frames + bytes::id3Text(4, "TPE1", "many")) + bytes::mpegFrames(3);
    }

    void addFiles(std::size_t upTo) {
        for (; count < upTo; ++count) {
            const std::string folder = "part " + std::to_string(count / 1000) + "/";
            const std::string name = folder + std::to_string(count) + ".mp3";
            if (count % 1000 == 0)
                file(original = name, slow);
            else
                tree.hardLink(name, original);
        }
        scan();
    }

    std::size_t count = 0;
    std::string original;
    const std::string slow = slowMp3();
};

} // namespace

TEST_F(LongRunTest, CancelledRunKeepsWhatItReadAndTheNextDoesTheRest) {
    bool wasCutShort = false;
    while (!wasCutShort && count < mostFiles) {
        addFiles(count == 0 ? 2'000 : 4 * count);
        AudioIndexer indexer(index, 2);
        indexer.yields = false;
        Told told;
        std::atomic<bool> hasBegun = false;
        indexer.onProgress = [&](const AudioIndexer::Progress& now) {
            told.all.push_back(now);
            hasBegun = true;
            hasBegun.notify_one();
        };
        std::thread canceller([&] {
            hasBegun.wait(false);
            indexer.cancel();
        });
        const std::size_t kept = indexer.run();
        canceller.join();
        wasCutShort = kept < count;
        EXPECT_EQ(index->audio().count(), kept);
        EXPECT_EQ(by("many").size(), kept);
        EXPECT_EQ(told.all.back().done, kept);

        AudioIndexer rest(index, 2);
        rest.yields = false;
        Told toldOfRest;
        rest.onProgress = [&](const AudioIndexer::Progress& now) {
            EXPECT_EQ(by("many").size(), now.done) << "what is told can be found, and no more";
            toldOfRest.all.push_back(now);
        };
        EXPECT_EQ(rest.pending().todo.size(), count - kept);
        EXPECT_EQ(rest.run(), count - kept);
        toldOfRest.expectWhole(count);
        EXPECT_LT(toldOfRest.all.size(), count / 10) << "a batch a file";
        EXPECT_GE(toldOfRest.all[0].done, kept) << "from where the other left off";
        EXPECT_EQ(by("many").size(), count);
    }
    EXPECT_TRUE(wasCutShort);
}

TEST_F(LongRunTest, NothingIsReadAfterCancellation) {
    addFiles(100);
    AudioIndexer indexer(index, 3);
    Told told;
    told.listen(indexer);
    indexer.cancel();
    EXPECT_EQ(indexer.run(), 0U);
    ASSERT_EQ(told.all.size(), 1U);
    EXPECT_EQ(told.all[0].done, 0U);
    EXPECT_EQ(index->audio().count(), 0U);
    for (const unsigned threads : {0U, 64U}) { // as good as one; more than there are slices
        scan();
        EXPECT_EQ(run(threads), 100U);
    }
}

} // namespace quarrydex
