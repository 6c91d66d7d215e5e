#include "QuarrydexApp/dbus/ModelNameSearch.h"

#include "QuarrydexApp/model/Model.h"

#include "tests/fakes/FakeClock.h"
#include "tests/support/EventLoop.h"
#include "tests/support/PlainCatalog.h"
#include "tests/support/QtApplication.h"

#include <memory>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::comesTo;
using Paths = std::vector<std::string>;

class ModelNameSearchTest : public ::testing::Test {
  protected:
    void addMany(const char* name) {
        std::vector<testing::PlainEntry> entries;
        for (std::uint32_t i = 0; i < 50'000; ++i)
            entries.push_back({.name = name, .parent = 0, .mtime = i});
        add("/a", std::move(entries));
    }

    void add(const std::string& root, std::vector<testing::PlainEntry> entries) {
        entries.insert(entries.begin(), {root, noParent, EntryFlags::dir | EntryFlags::root});
        model_.addVolume(root, std::shared_ptr<VolumeIndex>(testing::catalogOf(entries)));
    }

    /// What is found, a "/" after each folder.
    Paths find(const std::string& text, std::size_t limit = 20) {
        std::optional<Paths> paths;
        search_->find(text, limit, [&](const std::vector<FoundItem>& items) {
            EXPECT_FALSE(paths) << "answered twice: " << text;
            paths.emplace();
            for (const FoundItem& item : items)
                paths->push_back(item.path + (item.isFolder ? "/" : ""));
        });
        EXPECT_TRUE(comesTo([&] { return paths.has_value(); })) << text;
        return paths.value_or(Paths{"no answer"});
    }

    FakeClock clock_;
    Model model_{{}};
    std::optional<ModelNameSearch> search_{std::in_place, model_, clock_};
};

testing::PlainEntry file(const char* name, std::uint32_t mtime) {
    return {.name = name, .parent = 0, .mtime = mtime};
}

} // namespace

TEST_F(ModelNameSearchTest, NamesThatBeginWithTheTextComeFirstThenTheNewest) {
    add("/a", {{.name = "Remixes", .parent = 0, .flags = EntryFlags::dir, .mtime = 20},
               file("old remix.mp3", 10),
               file("REMIX old.mp3", 5),
               {.name = "deep remix\xFF.mp3", .parent = 1, .mtime = 90},
               file("other.mp3", 99)});
    add("/b", {file("new remix.mp3", 50), file("r\xC3\xA9mix new.mp3", 40)});
    const Paths all = {"/b/r\xC3\xA9mix new.mp3",       "/a/Remixes/",      "/a/REMIX old.mp3",
                       "/a/Remixes/deep remix\xFF.mp3", "/b/new remix.mp3", "/a/old remix.mp3"};
    EXPECT_EQ(find("remix"), all);
    EXPECT_EQ(find("remix", 2), Paths(all.begin(), all.begin() + 2));
    EXPECT_EQ(find("remix ext:mp3 old"), (Paths{"/a/old remix.mp3", "/a/REMIX old.mp3"}));
    EXPECT_EQ(model_.generation(), 0U) << "the window's own search is left alone";
}

TEST_F(ModelNameSearchTest, FewOfMoreHitsThanAreLookedAtAreTheNewest) {
    std::vector<testing::PlainEntry> entries;
    for (std::uint32_t i = 0; i < 1000; ++i)
        entries.push_back({.name = "a song " + std::to_string(i), .parent = 0, .mtime = i + 1});
    add("/a", std::move(entries));
    EXPECT_EQ(find("song", 2), (Paths{"/a/a song 999", "/a/a song 998"}));
    EXPECT_EQ(find("song", 300).size(), 300U);
}

TEST_F(ModelNameSearchTest, HiddenDrivesAreLeftOutWhileTheyAreHidden) {
    add("/a", {file("song", 1)});
    add("/b", {file("song", 2)});
    model_.setHidden(*model_.volumes().front(), true);
    EXPECT_EQ(find("song"), Paths{"/b/song"});
    model_.setHidden(*model_.volumes().front(), false);
    EXPECT_EQ(find("song"), (Paths{"/b/song", "/a/song"}));
}

TEST_F(ModelNameSearchTest, HalfAQueryFindsNothing) {
    add("/a", {file("song (1)", 1), file("song", 1)});
    for (const char* text : {"", " ", "regex:(song", "size:>", "song |"})
        EXPECT_EQ(find(text), text == std::string("song |") ? find("song") : Paths{}) << text;
}

TEST_F(ModelNameSearchTest, ANewerQuestionEndsTheOlderOnes) {
    addMany("old and new");
    add("/b", {file("new", 7)});
    std::vector<std::pair<int, std::size_t>> answers; // question and number of items
    for (int question = 0; question < 50; ++question)
        search_->find(question == 49 ? "new !old" : "old", 20, [&answers, question](auto items) {
            answers.emplace_back(question, items.size());
        });
    EXPECT_TRUE(comesTo([&] { return !answers.empty() && answers.back().first == 49; }));
    EXPECT_EQ(answers.back().second, 1U);
    std::size_t ended = 0;
    for (const auto& [question, items] : answers)
        ended += question != 49 && items == 0 ? 1 : 0;
    EXPECT_GE(ended, 45U) << "of questions that were overtaken before they began";
}

TEST_F(ModelNameSearchTest, EndsWhileItSearchesWithoutAnswering) {
    addMany("song");
    for (int round = 0; round < 20; ++round) {
        bool isAnswered = false;
        for (int question = 0; question < 3; ++question)
            search_->find("song", 20, [&](const auto&) { isAnswered = true; });
        search_.emplace(model_, clock_);
        EXPECT_EQ(find("song", 1).size(), 1U); // runs the event loop
        EXPECT_FALSE(isAnswered);
    }
}

} // namespace quarrydex
