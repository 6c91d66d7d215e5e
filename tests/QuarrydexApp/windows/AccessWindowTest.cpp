#include "QuarrydexApp/windows/AccessWindow.h"

#include "tests/support/EventLoop.h"
#include "tests/support/WidgetsApplication.h"
#include "tests/support/WindowMachine.h"

#include <QClipboard>
#include <QLabel>
#include <QLineEdit>

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::press;
using testing::withText;

class AccessWindowTest : public ::testing::Test {
  protected:
    /// A watched stick with two folders, which cannot be read.
    AccessWindowTest() {
        for (const char* name : {"mine", "yours"}) {
            machine.disk.addFolder("/media/stick", name);
            machine.disk.folders[std::string("/media/stick/") + name].error = EACCES;
        }
        machine.streams.status.kind = StreamKind::inotify;
    }

    void scan() {
        Model& model = machine.makeModel({.roots = {"/media/stick"}, .persist = true});
        model.startScans();
        attach(1);
        ASSERT_TRUE(comesTo([&] { return !model.anyScanning() && !model.anyUpdating(); }));
        window = std::make_unique<AccessWindow>(model, machine.prefs);
    }

    /// Lets the n-th stream say that it watches.
    void attach(std::size_t streams) {
        ASSERT_TRUE(comesTo([&] {
            return machine.streams.opened().size() == streams && machine.streams.isPlaying();
        }));
        machine.streams.deliver({{"/media/stick", ChangeFlags::historyDone, 100}});
    }

    bool says(const char* text) { return withText<QLabel>(*window, text) != nullptr; }

    testing::WindowMachine machine;
    std::unique_ptr<AccessWindow> window;
};

TEST_F(AccessWindowTest, TellsWhatCouldNotBeReadUntilItCanOrIsDismissed) {
    scan();
    EXPECT_TRUE(says("2 folders could not be read; what is in them is not found."));
    EXPECT_FALSE(says("Changes that show late"));
    machine.disk.folders["/media/stick/mine"].error = 0;
    ASSERT_TRUE(press(*window, "Scan again"));
    attach(2);
    EXPECT_TRUE(
        comesTo([&] { return says("1 folder could not be read; what is in it is not found."); }));
    machine.disk.folders["/media/stick/yours"].error = 0;
    ASSERT_TRUE(press(*window, "Scan again"));
    attach(3);
    EXPECT_TRUE(comesTo([&] {
        return says("Nothing limits the index: every folder was read, and every change is "
                    "noticed.");
    }));
    window->show();
    ASSERT_TRUE(press(*window, "&Dismiss"));
    EXPECT_TRUE(machine.prefs.onboardingDismissed());
    EXPECT_FALSE(window->isVisible());
}

TEST_F(AccessWindowTest, CopiesTheCommandThatLetsAllFoldersBeWatched) {
    machine.disk.folders["/media/stick/mine"].error = 0;
    machine.disk.folders["/media/stick/yours"].error = 0;
    machine.streams.status.limitReached = true;
    machine.streams.status.watchedFolders = 300'000;
    machine.streams.status.polledFolders = 200'000;
    scan();
    EXPECT_TRUE(says("stick: 200000 folders are looked at only now and then, because the system "
                     "lets programs watch no more. Raise fs.inotify.max_user_watches to change "
                     "that."));
    ASSERT_TRUE(press(*window, "Copy"));
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(),
              "echo fs.inotify.max_user_watches=1048576 | sudo tee /etc/sysctl.d/60-quarrydex.conf "
              "&& sudo sysctl --system");
    EXPECT_TRUE(press(*window, "Copied"));
}

TEST(IndexLimitsTest, CommandsHoldAnyPathAndLeaveHalfTheWatchesToOthers) {
    EXPECT_EQ(listCommand({.name = "", .root = "/it's $HOME;x", .watchNotice = ""}),
              R"(find '/it'\''s $HOME;x' -xdev -type d ! \( -readable -executable \) 2>/dev/null)");
    IndexLimit limit{.name = "", .root = "/", .unreadable = 7, .watchNotice = ""};
    EXPECT_EQ(watchCommand({&limit, 1}), "");
    limit.watched = 100;
    limit.unwatched = 1;
    EXPECT_NE(watchCommand({&limit, 1}).find("watches=524288 "), std::string::npos);
    limit.unwatched = 600'000;
    EXPECT_NE(watchCommand({&limit, 1}).find("watches=2097152 "), std::string::npos);
}

} // namespace
} // namespace quarrydex
