#include "QuarrydexAudio/index/CarryOver.h"

#include "QuarrydexAudio/index/AudioIndexer.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/TempTree.h"

#include <memory>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using Index = std::shared_ptr<VolumeIndex>;
using Names = std::set<std::string>;

constexpr std::int64_t longAgo = 1'600'000'000;

/// Each of the same size: a file that is read again shows itself by its artist alone.
std::string mp3By(std::string_view artist) {
    return bytes::id3Tag(4, bytes::id3Text(4, "TPE1", artist)) + bytes::mpegFrames(3);
}

class CarryOverTest : public ::testing::Test {
  protected:
    void file(const std::string& rel, std::string_view content, std::int64_t mtime = longAgo) {
        tree.file(rel, content);
        tree.setTimes(rel, mtime);
    }

    [[nodiscard]] Index scan(const std::string& root) const {
        const std::string roots[] = {root};
        auto index = std::make_shared<VolumeIndex>(1U << 16, 1U << 22);
        index->scan(roots, 2);
        return index;
    }

    [[nodiscard]] Index scan() const { return scan(tree.path()); }

    [[nodiscard]] Index scanAndRead() const {
        Index index = scan();
        AudioIndexer(index, 2).run();
        return index;
    }

    void refresh(VolumeIndex& index) const {
        const std::string dirs[] = {tree.path()};
        index.refresh(dirs, {.recursive = true});
    }

    [[nodiscard]] Names pending(const Index& index) const {
        Names names;
        for (const EntryId id : AudioIndexer(index, 1).pending().todo)
            names.insert(index->path(id).substr(tree.path().size() + 1));
        return names;
    }

    /// The files with that artist.
    [[nodiscard]] Names by(const Index& index, std::string_view artist) const {
        Names names;
        for (const EntryId id : index->audio().snapshot()->entry)
            if (index->audio().meta(id)->artist == artist)
                names.insert(index->path(id).substr(tree.path().size() + 1));
        return names;
    }

    TempTree tree;
};

} // namespace

TEST_F(CarryOverTest, FilesOfTheSamePathTimeAndSizeAreNotReadAgain) {
    const Names same = {"a.mp3", "in/a.mp3", "in/deep/b.flac", "in/n\xFFot utf8.mp3", "text.mp3"};
    for (const std::string& name : same)
        file(name, mp3By("old"));
    for (const char* name : {"in/touched.mp3", "in/grown.mp3", "moved.mp3", "gone.mp3"})
        file(name, mp3By("old"));
    file("text.mp3", "no audio");
    const Index old = scanAndRead();

    for (const std::string& name : same)
        file(name, name == "text.mp3" ? std::string("is audio") : mp3By("new")); // the catch
    file("in/touched.mp3", mp3By("new"), longAgo + 1);
    file("in/grown.mp3", mp3By("new") + "x");
    file("in/new.mp3", mp3By("new"));
    file("notes.txt", "text");
    tree.rename("moved.mp3", "in/moved.mp3");
    tree.remove("gone.mp3");

    const Index fresh = scan();
    EXPECT_EQ(carryOver(*old, fresh), same.size());
    EXPECT_EQ(pending(fresh),
              (Names{"in/touched.mp3", "in/grown.mp3", "in/moved.mp3", "in/new.mp3"}));
    EXPECT_EQ(AudioIndexer(fresh, 2).run(), 4U);
    EXPECT_EQ(by(fresh, "old"), (Names{"a.mp3", "in/a.mp3", "in/deep/b.flac", "in/moved.mp3",
                                       "in/n\xFFot utf8.mp3"}));
    EXPECT_EQ(by(fresh, "new"), (Names{"in/touched.mp3", "in/grown.mp3", "in/new.mp3"}));
    EXPECT_EQ(by(fresh, ""), Names{"text.mp3"});
}

TEST_F(CarryOverTest, RowsThatWereNotRightInTheOldCatalogueAreNotTakenOver) {
    for (const char* name : {"stale.mp3", "unsettled.mp3", "replaced.mp3", "good.mp3"})
        file(name, mp3By("old"), name == std::string("unsettled.mp3") ? longAgo + 5 : longAgo);
    const Index old = scan();
    AudioIndexer indexer(old, 1);
    indexer.settledBefore = longAgo + 5;
    EXPECT_EQ(indexer.run(), 4U);

    // Its row is older than what the catalogue knows, and looks like what comes next.
    file("stale.mp3", mp3By("two"), longAgo + 1);
    refresh(*old);
    // Another file came to its path: the row is of one that is deleted.
    tree.remove("replaced.mp3");
    refresh(*old);
    file("replaced.mp3", mp3By("new"));
    refresh(*old);
    file("stale.mp3", mp3By("new"));

    const Index fresh = scan();
    EXPECT_EQ(carryOver(*old, fresh), 1U);
    EXPECT_EQ(by(fresh, "old"), Names{"good.mp3"});
    EXPECT_EQ(pending(fresh), (Names{"replaced.mp3", "stale.mp3", "unsettled.mp3"}));
}

TEST_F(CarryOverTest, RootsMayDifferAndRowsThatAreThereStay) {
    file("in/a.mp3", mp3By("old"));
    file("in/b.mp3", mp3By("old"));
    file("out/a.mp3", mp3By("old"));
    const Index old = scanAndRead();
    file("in/a.mp3", mp3By("new"));
    const Index fresh = scan(tree.path("in"));
    AudioIndexer first(fresh, 1);
    AudioIndexer::Pending one = first.pending();
    std::erase_if(one.todo, [&](EntryId id) { return fresh->name(id) != "a.mp3"; });
    EXPECT_EQ(first.run(one), 1U);
    EXPECT_EQ(carryOver(*old, fresh), 1U);
    EXPECT_EQ(by(fresh, "new"), Names{"in/a.mp3"});
    EXPECT_EQ(by(fresh, "old"), Names{"in/b.mp3"});

    const std::int64_t version = fresh->audioVersion();
    EXPECT_EQ(carryOver(*scan(), fresh), 0U);
    EXPECT_EQ(carryOver(*old, fresh), 0U);
    EXPECT_EQ(fresh->audioVersion(), version) << "searches would be repeated for nothing";
}

} // namespace quarrydex
