// The built program with its windows: on an X server, with a window manager and a session bus, and
// a hand at the keyboard.

#include "tests/support/WindowSession.h"

#include <csignal>
#include <filesystem>

namespace quarrydex {

namespace {

using testing::eventually;
using testing::Panel;
using testing::Session;

class WindowTest : public testing::OnScreenTest {
  protected:
    WindowTest() { tree_.folder("root"); }

    /// A start with folders of its own keeps to itself: another program to the others.
    const std::vector<std::string> ownFolder_ = {"--root", tree_.path("root")};
};

} // namespace

TEST_F(WindowTest, TheHotKeyHidesTheWindowThatHasTheKeyboardAndElseBringsIt) {
    const Session session;
    const Session otherSession;
    Panel panel(session);
    ASSERT_TRUE(panel.comesForward());
    for (int round = 0; round < 3; ++round) {
        press("alt+space");
        EXPECT_TRUE(eventually([&] { return !panel.isShown(); }));
        press("alt+space");
        EXPECT_TRUE(panel.comesForward());
    }

    const Panel other(otherSession, ownFolder_);
    EXPECT_TRUE(eventually([&] { return other.isShown(); }));
    giveKeyboard(other);
    panel.noticeLoss();
    press("alt+space");
    EXPECT_TRUE(panel.comesForward());
    EXPECT_TRUE(other.isShown());
}

TEST_F(WindowTest, LaterStartsEndAtOnceAndReachTheFirst) {
    const Session session;
    Panel panel(session);
    ASSERT_TRUE(panel.comesForward());

    EXPECT_EQ(session.run({"--toggle"}), 0);
    EXPECT_TRUE(eventually([&] { return !panel.isShown(); }));
    EXPECT_EQ(session.run({"--toggle"}), 0);
    EXPECT_TRUE(panel.comesForward());
    for (const char* flag : {"--show", ""}) {
        press("Escape");
        EXPECT_TRUE(eventually([&] { return !panel.isShown(); }));
        EXPECT_EQ(session.run(*flag == '\0' ? std::vector<std::string>{}
                                            : std::vector<std::string>{flag}),
                  0);
        EXPECT_TRUE(panel.comesForward()) << flag;
    }

    // A text stands in the field: Escape clears it before it hides the window.
    press("Escape");
    EXPECT_TRUE(eventually([&] { return !panel.isShown(); }));
    EXPECT_EQ(session.run({"--search", "some text"}), 0);
    EXPECT_TRUE(panel.comesForward());
    press("Escape");
    session.settle();
    EXPECT_TRUE(panel.isShown());
    press("Escape");
    EXPECT_TRUE(eventually([&] { return !panel.isShown(); }));
}

TEST_F(WindowTest, AStartThatFindsNoOtherDoesItself) {
    for (const char* flag : {"--toggle", "--show"}) {
        const Session session;
        const Panel panel(session, {flag});
        EXPECT_TRUE(panel.comesForward()) << flag;
    }
}

TEST_F(WindowTest, ToldToEndItSavesWhateverWindowsAreOpen) {
    const Session session;
    tree_.file("root/Song.mp3", 10);
    for (const bool withSettings : {false, true}) {
        Panel panel(session, ownFolder_);
        ASSERT_TRUE(eventually([&] { return panel.hasKeyboard(); }));
        ASSERT_TRUE(eventually([&] { return session.catalogues().size() == 1; }));
        if (withSettings) {
            press("ctrl+comma");
            EXPECT_TRUE(eventually([&] { return !panel.hasKeyboard(); }));
        }
        // What it has not saved yet is saved at the end.
        std::filesystem::remove(session.catalogues().front());
        tree_.file(withSettings ? "root/Later.mp3" : "root/Late.mp3", 10);
        panel.program().signal(SIGTERM);
        EXPECT_EQ(panel.program().wait(), 0);
        EXPECT_EQ(session.catalogues().size(), 1U) << withSettings;
    }
    const Outcome found =
        runProgram(QDX_PROGRAM, {"--root", tree_.path("root"), "--list", "mp3"}, session.launch());
    EXPECT_EQ(found.out, tree_.path("root/Late.mp3") + "\n" + tree_.path("root/Later.mp3") + "\n" +
                             tree_.path("root/Song.mp3") + "\n");
}

TEST_F(WindowTest, ClosingTheWindowEndsItWhereNothingWouldBringItBack) {
    const Session session;
    const Session otherSession;
    Panel holder(session); // of the hot key
    ASSERT_TRUE(holder.comesForward());
    Panel panel(otherSession);
    ASSERT_TRUE(eventually([&] { return panel.isShown(); }));
    giveKeyboard(panel);
    press("alt+F4");
    EXPECT_EQ(panel.program().wait(), 0);

    giveKeyboard(holder);
    press("alt+F4");
    EXPECT_TRUE(eventually([&] { return !holder.isShown(); }));
    press("alt+space");
    EXPECT_TRUE(holder.comesForward());
}

} // namespace quarrydex
