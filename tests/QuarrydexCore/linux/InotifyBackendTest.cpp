#include "QuarrydexCore/platform/linux/InotifyBackend.h"

#include "tests/support/TempTree.h"

#include <array>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace quarrydex {
namespace {

/// A backend whose queue the test reads, so that it decides where a round ends.
class InotifyBackendTest : public testing::Test {
  protected:
    explicit InotifyBackendTest(std::size_t watches = 1000)
        : budget_(std::make_shared<WatchBudget>(watches)) {
        tree_.folder("root");
    }

    void attach() {
        batch_ = std::make_unique<ChangeBatch>(std::vector{tree_.path("root")},
                                               std::vector<std::string>{});
        backend_ = InotifyBackend::open(*batch_, budget_);
        ASSERT_NE(backend_, nullptr);
        backend_->attach(*batch_);
    }

    /// The events that are in the queue.
    [[nodiscard]] std::vector<std::string> read() const {
        std::vector<std::string> events;
        alignas(inotify_event) std::array<char, 65536> buffer;
        for (ssize_t n = 0; (n = ::read(backend_->queue(), buffer.data(), buffer.size())) > 0;) {
            for (ssize_t at = 0; at < n;) {
                inotify_event event;
                std::memcpy(&event, buffer.data() + at, sizeof event);
                const std::size_t bytes = sizeof event + event.len;
                events.emplace_back(buffer.data() + at, bytes);
                at += static_cast<ssize_t>(bytes);
            }
        }
        return events;
    }

    /// One round of all events in the queue; returns the folders reported, below the root.
    std::set<std::string> round() {
        for (const std::string& event : read())
            EXPECT_TRUE(backend_->translate(event, *batch_));
        backend_->finishRound(*batch_);
        return take();
    }

    std::set<std::string> take() {
        std::set<std::string> folders;
        for (const ChangeEvent& event : batch_->take(1))
            folders.insert(event.path.substr(tree_.path("root").size()));
        return folders;
    }

    TempTree tree_;
    std::shared_ptr<WatchBudget> budget_;
    std::unique_ptr<ChangeBatch> batch_;
    std::unique_ptr<InotifyBackend> backend_;
};

TEST_F(InotifyBackendTest, RoundMayEndBetweenAnyTwoEvents) {
    const auto exchange = [&](const char* a, const char* b) {
        ASSERT_EQ(::renameat2(AT_FDCWD, tree_.path(a).c_str(), AT_FDCWD, tree_.path(b).c_str(),
                              RENAME_EXCHANGE),
                  0);
    };

    const struct {
        const char* what;
        std::function<void()> change;
    } cases[] = {
        {"exchange", [&] { exchange("root/a", "root/b"); }},
        {"exchange across folders", [&] { exchange("root/a/x", "root/b/x"); }},
        {"exchange of a folder and a file", [&] { exchange("root/a", "root/f"); }},
        {"move and move back",
         [&] {
             tree_.rename("root/a", "root/c");
             tree_.rename("root/c", "root/a");
         }},
        {"move along",
         [&] {
             tree_.rename("root/a", "root/b/a");
             tree_.rename("root/b", "root/c");
         }},
        {"out and in",
         [&] {
             tree_.rename("root/a", "outside");
             tree_.rename("outside", "root/b/x/a");
         }},
        {"remove and make again",
         [&] {
             tree_.remove("root/a");
             tree_.folder("root/a");
             tree_.folder("root/a/x");
         }},
        {"take the place of another",
         [&] {
             tree_.rename("root/a", "root/c");
             tree_.rename("root/b", "root/a");
             tree_.rename("root/c", "root/b");
         }},
    };

    for (const auto& c : cases) {
        for (const char* old : {"root/a", "root/b", "root/c", "root/f", "outside"})
            tree_.remove(old);
        for (const char* folder : {"root/a/x/y/", "root/b/x/y/", "root/"})
            tree_.file(std::string(folder) + "f");
        attach();
        c.change();
        for (const std::string& event : read()) {
            EXPECT_TRUE(backend_->translate(event, *batch_));
            backend_->finishRound(*batch_);
        }
        (void)round(); // watches that went tell so
        for (const char* folder : {"", "/a", "/a/x", "/a/x/y", "/b", "/b/x", "/b/x/y", "/b/x/a",
                                   "/b/x/a/x/y", "/c", "/c/a/x/y", "/f", "/f/x"}) {
            const std::string file = tree_.path("root") + folder + "/new";
            if (Fd(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644))) {
                EXPECT_EQ(round(), std::set<std::string>{folder}) << c.what;
            }
        }
    }
}

class SmallBudget : public InotifyBackendTest {
  protected:
    SmallBudget() : InotifyBackendTest(6) {}
};

TEST_F(SmallBudget, WatchesOfFoldersThatWentAreGivenBack) {
    tree_.folder("root/a/x/y");
    attach();
    for (int i = 0; i < 20; ++i) {
        tree_.rename("root/a", "outside");
        EXPECT_EQ(round(), std::set<std::string>{""});
        tree_.folder("root/b");
        (void)round();
        tree_.rename("root/b", "gone" + std::to_string(i));
        (void)round();
        tree_.rename("outside", "root/a");
        EXPECT_EQ(round(), (std::set<std::string>{"", "/a"}));
    }
    EXPECT_EQ(backend_->status().watchedFolders, 4U);
    EXPECT_EQ(backend_->status().polledFolders, 0U);
    EXPECT_FALSE(backend_->status().limitReached);
    backend_->recover(*batch_);
    EXPECT_EQ(backend_->status().watchedFolders, 4U);
    EXPECT_FALSE(backend_->status().limitReached);
    backend_.reset();
    for (int i = 0; i < 6; ++i)
        EXPECT_TRUE(budget_->take());
    EXPECT_FALSE(budget_->take());
}

TEST_F(SmallBudget, PolledFoldersAreReportedByTheirTimeAndWatchedWhenThereIsRoom) {
    for (int i = 0; i < 9; ++i)
        tree_.folder("root/d" + std::to_string(i) + "/sub");
    attach();
    EXPECT_TRUE(backend_->status().limitReached);
    EXPECT_EQ(backend_->status().watchedFolders, 6U);
    EXPECT_EQ(backend_->status().polledFolders, 13U);
    std::set<std::string> seen;
    for (int i = 0; i < 9; ++i) {
        tree_.file("root/d" + std::to_string(i) + "/new");
        tree_.folder("root/d" + std::to_string(i) + "/new-sub");
    }
    seen.merge(round());
    backend_->poll(*batch_);
    seen.merge(take());
    for (int i = 0; i < 9; ++i) {
        EXPECT_TRUE(seen.contains("/d" + std::to_string(i)));
        EXPECT_TRUE(seen.contains("/d" + std::to_string(i) + "/new-sub"));
    }
    for (int i = 0; i < 8; ++i)
        tree_.remove("root/d" + std::to_string(i));
    (void)round();
    (void)round();
    backend_->poll(*batch_);
    tree_.file("root/d8/sub/f");
    backend_->poll(*batch_);
    EXPECT_EQ(backend_->status().polledFolders, 0U);
    EXPECT_EQ(backend_->status().watchedFolders, 4U);
}

TEST_F(InotifyBackendTest, OverflowIsTold) {
    attach();
    inotify_event event{};
    event.wd = -1;
    event.mask = IN_Q_OVERFLOW;
    const std::string bytes(reinterpret_cast<const char*>(&event), sizeof event);
    EXPECT_FALSE(backend_->translate(bytes, *batch_));
}

} // namespace
} // namespace quarrydex
