#include "QuarrydexAudio/index/CarryOver.h"

#include "tests/support/AudioFolder.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::mp3By;

class CarryOverTest : public testing::AudioFolder {};

} // namespace

TEST_F(CarryOverTest, FilesOfTheSamePathTimeAndSizeAreNotReadAgain) {
    const Names same = {"a.mp3", "in/a.mp3", "in/deep/b.flac", "in/n\xFFot utf8.mp3", "text.mp3"};
    for (const std::string& name : same)
        file(name, mp3By("old"));
    for (const char* name : {"in/touched.mp3", "in/grown.mp3", "moved.mp3", "gone.mp3"})
        file(name, mp3By("old"));
    file("text.mp3", "no audio");
    scan();
    run();
    const Index old = index;

    for (const std::string& name : same)
        file(name, name == "text.mp3" ? std::string("is audio") : mp3By("new")); // the catch
    file("in/touched.mp3", mp3By("new"), longAgo + 1);
    file("in/grown.mp3", mp3By("new") + "x");
    file("in/new.mp3", mp3By("new"));
    file("notes.txt", "text");
    tree.rename("moved.mp3", "in/moved.mp3");
    tree.remove("gone.mp3");

    scan();
    EXPECT_EQ(carryOver(*old, index), same.size());
    EXPECT_EQ(pendingNames(),
              (Names{"in/touched.mp3", "in/grown.mp3", "in/moved.mp3", "in/new.mp3"}));
    EXPECT_EQ(run(), 4U);
    EXPECT_EQ(names(by("old")), (Names{"a.mp3", "in/a.mp3", "in/deep/b.flac", "in/moved.mp3",
                                       "in/n\xFFot utf8.mp3"}));
    EXPECT_EQ(names(by("new")), (Names{"in/touched.mp3", "in/grown.mp3", "in/new.mp3"}));
    EXPECT_TRUE(index->audio().meta(idOf("text.mp3"))->isEmpty());
}

TEST_F(CarryOverTest, RowsThatWereNotRightInTheOldCatalogueAreNotTakenOver) {
    for (const char* name : {"stale.mp3", "unsettled.mp3", "replaced.mp3", "good.mp3"})
        file(name, mp3By("old"), name == std::string("unsettled.mp3") ? longAgo + 5 : longAgo);
    scan();
    const Index old = index;
    AudioIndexer indexer(old, 1);
    indexer.settledBefore = longAgo + 5;
    EXPECT_EQ(indexer.run(), 4U);

    // Its row is older than what the catalogue knows, and looks like what comes next.
    file("stale.mp3", mp3By("two"), longAgo + 1);
    refresh();
    // Another file came to its path: the row is of one that is deleted.
    tree.remove("replaced.mp3");
    refresh();
    file("replaced.mp3", mp3By("new"));
    refresh();
    file("stale.mp3", mp3By("new"));

    scan();
    EXPECT_EQ(carryOver(*old, index), 1U);
    EXPECT_EQ(names(by("old")), Names{"good.mp3"});
    EXPECT_EQ(pendingNames(), (Names{"replaced.mp3", "stale.mp3", "unsettled.mp3"}));
}

TEST_F(CarryOverTest, RootsMayDifferAndRowsThatAreThereStay) {
    file("in/a.mp3", mp3By("old"));
    file("in/b.mp3", mp3By("old"));
    file("out/a.mp3", mp3By("old"));
    scan();
    run();
    const Index old = index;
    file("in/a.mp3", mp3By("new"));
    index = scanned(tree.path("in"));
    const std::vector<EntryId> one = {idOf("in/a.mp3")};
    AudioIndexer first(index, 1);
    EXPECT_EQ(first.run(first.pending(one)), 1U);
    EXPECT_EQ(carryOver(*old, index), 1U);
    EXPECT_EQ(names(by("new")), Names{"in/a.mp3"});
    EXPECT_EQ(names(by("old")), Names{"in/b.mp3"});

    const std::int64_t version = index->audioVersion();
    EXPECT_EQ(carryOver(*scanned(tree.path()), index), 0U);
    EXPECT_EQ(carryOver(*old, index), 0U);
    EXPECT_EQ(index->audioVersion(), version) << "searches would be repeated for nothing";
}

} // namespace quarrydex
