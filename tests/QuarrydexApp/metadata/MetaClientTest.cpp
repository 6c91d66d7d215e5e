// The client and a stand-in for its program, which fails in every way that one can.

#include "QuarrydexApp/metadata/MetaClient.h"

#include "tests/support/EventLoop.h"
#include "tests/support/QtApplication.h"

#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace std::chrono_literals;
using testing::comesTo;

class MetaClientTest : public ::testing::Test {
  protected:
    struct Got {
        std::string path;
        FileMeta meta;
    };

    MetaClientTest() {
        // Long, so that only what is meant to be late is.
        options_.program = QDX_PROGRAM;
        options_.deadline = 15s;
        options_.firstPause = 1ms;
        options_.longestPause = 2ms;
    }

    MetaClient& client() {
        if (!client_)
            client_ = std::make_unique<MetaClient>(options_);
        return *client_;
    }

    FileMetaSource::Ticket ask(const std::string& path) {
        return client().meta(path, [this, path](const FileMeta& meta) {
            got_.push_back({path, meta});
        });
    }

    /// Asks for one after the other; each answer's value.
    std::vector<FileMeta> answers(const std::vector<std::string>& paths) {
        std::vector<FileMeta> metas;
        for (const std::string& path : paths) {
            got_.clear();
            ask(path);
            EXPECT_TRUE(comesTo([&] { return !got_.empty(); })) << path;
            metas.push_back(got_.empty() ? FileMeta{} : got_.front().meta);
        }
        return metas;
    }

    [[nodiscard]] std::string paths() const {
        std::string all;
        for (const Got& got : got_)
            all += got.path;
        return all;
    }

    static bool isAlive(std::uint32_t process) {
        return ::kill(static_cast<pid_t>(process), 0) == 0 || errno != ESRCH;
    }

    MetaClientOptions options_;
    std::vector<Got> got_;
    std::unique_ptr<MetaClient> client_;
};

} // namespace

TEST_F(MetaClientTest, EveryFailureCostsItsFileAndNoOther) {
    for (const std::string bad :
         {"crash", "leave", "nonsense", "endless", "greeting", "another", "large"}) {
        SCOPED_TRACE(bad);
        const auto before = answers({"/good"});
        got_.clear();
        // The bad one is asked for last and so comes first; the next is on its way behind it.
        const std::vector<std::string> asked = {"/1", "/2", "/3", "/" + bad};
        for (const std::string& path : asked)
            ask(path);
        ASSERT_TRUE(comesTo([&] { return got_.size() == asked.size(); }));
        for (const Got& got : got_)
            EXPECT_EQ(got.meta == FileMeta{}, got.path == "/" + bad) << got.path;
        const auto after = answers({"/good", "/" + bad, "/good"});
        EXPECT_NE(before[0].h, after[0].h) << "the process was not replaced";
        EXPECT_EQ(after[1], FileMeta{});
        EXPECT_EQ(after[0].h, after[2].h) << "a bad file was tried again";
    }
}

TEST_F(MetaClientTest, AFileThatTakesTooLongIsGivenUp) {
    const auto before = answers({"/good"});
    options_.deadline = 1s;
    client_.reset();
    ask("/1");
    ask("/hang");
    ASSERT_TRUE(comesTo([&] { return got_.size() == 3; }));
    const auto after = answers({"/hang", "/good"});
    EXPECT_EQ(after[0], FileMeta{});
    EXPECT_NE(after[1], FileMeta{});
    EXPECT_TRUE(comesTo([&] { return !isAlive(before[0].h); }));
}

TEST_F(MetaClientTest, AnAnswerThatNobodyAskedForIsNotTaken) {
    const auto first = answers({"/twice"});
    EXPECT_EQ(first[0].w, 1U);
    const auto second = answers({"/good"});
    EXPECT_NE(second[0], FileMeta{});
    EXPECT_NE(second[0].h, first[0].h);
}

TEST_F(MetaClientTest, TheNewestComesFirstAndTheOldestDropsOut) {
    options_.mostWaiting = 3;
    for (const char* path : {"/1", "/2", "/3", "/4", "/5"})
        ask(path);
    ASSERT_TRUE(comesTo([&] { return got_.size() == 5; }));
    std::string dropped, read;
    for (const Got& got : got_)
        (got.meta == FileMeta{} ? dropped : read) += got.path;
    EXPECT_EQ(read, "/5/4/3");
    EXPECT_EQ(dropped, "/1/2");
}

TEST_F(MetaClientTest, WhatIsWithdrawnIsNotAnswered) {
    options_.mostWaiting = 3;
    const auto dropped = ask("/dropped");
    ask("/1");
    const auto waiting = ask("/waiting");
    ask("/3");
    client().withdraw(dropped);
    client().withdraw(waiting);
    ASSERT_TRUE(comesTo([&] { return got_.size() == 2; }));
    EXPECT_EQ(paths(), "/3/1");
    client().withdraw(waiting);

    // One that is being worked on, and one behind it.
    got_.clear();
    FileMetaSource::Ticket sent[2];
    for (auto& ticket : sent)
        ticket = client().meta("/sent", [this](const FileMeta& meta) {
            got_.push_back({"/sent", meta});
        });
    bool hasBegun = false;
    client().meta("/first", [&](const FileMeta&) {
        hasBegun = true;
        for (const auto ticket : sent)
            client().withdraw(ticket);
    });
    ASSERT_TRUE(comesTo([&] { return hasBegun; }));
    answers({"/last"});
    EXPECT_EQ(paths(), "/last");
}

TEST_F(MetaClientTest, AWithdrawnFileThatHangsStillMakesWay) {
    options_.deadline = 1s;
    const auto hanging = ask("/hang");
    bool isWithdrawn = false;
    // Behind the one before it in the pipe, and so sent when this is answered.
    client().meta("/first", [&](const FileMeta&) {
        client().withdraw(hanging);
        isWithdrawn = true;
    });
    ASSERT_TRUE(comesTo([&] { return isWithdrawn; }));
    const auto after = answers({"/good"});
    EXPECT_NE(after[0], FileMeta{});
    EXPECT_EQ(paths(), "/good");
}

TEST_F(MetaClientTest, AProgramThatDoesNotWorkLeavesEverythingUnknown) {
    for (const char* program : {"/nowhere/quarrydex-metadata", "/bin/true", "/dev/null"}) {
        SCOPED_TRACE(program);
        client_.reset();
        got_.clear();
        options_.program = program;
        ask("/1");
        ask("/2");
        ASSERT_TRUE(comesTo([&] { return got_.size() == 2; }));
        EXPECT_EQ(got_[0].meta, FileMeta{});
        EXPECT_EQ(answers({"/3"})[0], FileMeta{});
    }
}

TEST_F(MetaClientTest, AnIdleProcessEndsAndTheNextRequestStartsAnother) {
    options_.idle = 20ms;
    const auto process = answers({"/good"})[0].h;
    EXPECT_TRUE(comesTo([&] { return !isAlive(process); }));
    const auto next = answers({"/good"})[0].h;
    EXPECT_NE(next, 0U);
    EXPECT_NE(next, process);
}

TEST_F(MetaClientTest, TheProcessEndsWithItsClient) {
    const auto process = answers({"/good"})[0].h;
    EXPECT_TRUE(isAlive(process));
    ask("/hang");
    client_.reset();
    EXPECT_TRUE(comesTo([&] { return !isAlive(process); }));
    EXPECT_EQ(got_.size(), 1U);

    // Also from within an answer, of a file that was read and of one that was not.
    for (const char* path : {"/good", "/crash"}) {
        bool isAnswered = false;
        client().meta(path, [&](const FileMeta&) {
            client_.reset();
            isAnswered = true;
        });
        ASSERT_TRUE(comesTo([&] { return isAnswered; }));
    }
}

} // namespace quarrydex
