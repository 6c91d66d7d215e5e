// The built program with its windows: on an X server, with a window manager and a session bus, and
// a hand at the keyboard.

#include "tests/support/BusDaemon.h"
#include "tests/support/LoopImage.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"
#include "tests/support/XServer.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

XServer& server() {
    static XServer server(XServer::Repeat::never);
    return server;
}

/// A window manager that does nothing by keys but close windows.
class WindowManager {
  public:
    static std::string lack() {
        if (std::string lack = XServer::lack(); !lack.empty())
            return lack;
        return findProgram("openbox").empty() ? "openbox is missing" : "";
    }

    static void ensure() { static const WindowManager manager; }

  private:
    WindowManager() {
        tree_.file("rc.xml", "<openbox_config xmlns=\"http://openbox.org/3.4/rc\"><keyboard>"
                             "<keybind key=\"A-F4\"><action name=\"Close\"/></keybind>"
                             "</keyboard></openbox_config>");
        manager_.emplace(
            findProgram("openbox").c_str(),
            std::vector<std::string>{"--sm-disable", "--config-file", tree_.path("rc.xml")},
            Launch{.environment = {{"DISPLAY", server().name()}}, .home = tree_.path()});
    }

    TempTree tree_;
    std::optional<RunningProgram> manager_;
};

bool comesTo(const std::function<bool()>& holds) {
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(5ms); // between two looks
    }
    return true;
}

/// A user's session: home, session bus and starts of the program.
class Session {
  public:
    Session() {
        tree_.file("quarrydex/settings.json", std::string_view(R"({"sourcesConfigured": true})"));
    }

    [[nodiscard]] Launch launch() const {
        return {.environment = {{"DISPLAY", server().name()},
                                {"DBUS_SESSION_BUS_ADDRESS", bus_.address().c_str()},
                                {"QT_QPA_PLATFORM", "xcb"},
                                {"WAYLAND_DISPLAY", ""}},
                .home = tree_.path()};
    }

    /// A start whose end is waited for.
    [[nodiscard]] int run(const std::vector<std::string>& arguments) const {
        return RunningProgram(QDX_PROGRAM, arguments, launch()).wait();
    }

    /// Returns when what was typed before has been taken by the instance that runs.
    void settle() const {
        const Outcome done = runProgram(
            findProgram("dbus-send").c_str(),
            {"--session", "--print-reply", "--dest=io.github.quarrydex.Quarrydex",
             "/io/github/quarrydex/Quarrydex", "org.freedesktop.DBus.Introspectable.Introspect"},
            launch());
        EXPECT_EQ(done.status, 0) << done.err;
    }

    [[nodiscard]] std::string path(std::string_view rel) const { return tree_.path(rel); }

    /// The catalogues that are saved.
    [[nodiscard]] std::vector<std::filesystem::path> catalogues() const {
        std::vector<std::filesystem::path> found;
        for (const auto& file : std::filesystem::recursive_directory_iterator(tree_.path()))
            if (file.path().extension() == ".idx")
                found.push_back(file.path());
        return found;
    }

  private:
    TempTree tree_;
    BusDaemon bus_;
};

/// A running program and its search window.
class Panel {
  public:
    explicit Panel(const Session& session, const std::vector<std::string>& arguments = {})
        : session_(session), program_(QDX_PROGRAM, arguments, session.launch()) {}

    /// The window's number, empty while it is not to be seen.
    [[nodiscard]] std::string window() const {
        const std::string found = server()
                                      .ask({"search", "--all", "--onlyvisible", "--pid",
                                            std::to_string(program_.id()), "--name", "^Quarrydex$"})
                                      .out;
        return found.substr(0, found.find('\n'));
    }

    [[nodiscard]] bool isShown() const { return !window().empty(); }

    [[nodiscard]] bool hasKeyboard() const {
        const std::string shown = window();
        return !shown.empty() && server().ask({"getwindowfocus"}).out == shown + "\n" &&
               server().ask({"getactivewindow"}).out == shown + "\n";
    }

    /// It comes to have the keyboard, and to know that.
    [[nodiscard]] bool comesForward() const {
        const bool isForward = comesTo([&] { return hasKeyboard(); });
        session_.settle();
        return isForward;
    }

    RunningProgram& program() { return program_; }

  private:
    const Session& session_;
    RunningProgram program_;
};

class WindowTest : public ::testing::Test {
  protected:
    WindowTest() { tree_.folder("root"); }

    void SetUp() override {
        QDX_NEEDS(WindowManager::lack());
        QDX_NEEDS(BusDaemon::lack());
        WindowManager::ensure();
    }

    static void press(const char* keys) { server().type({"key", keys}); }

    static void giveKeyboard(const Panel& panel) {
        EXPECT_TRUE(comesTo([&] {
            const std::string window = panel.window();
            return !window.empty() && server().ask({"windowactivate", window}).status == 0 &&
                   panel.hasKeyboard();
        }));
    }

    TempTree tree_;
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
        EXPECT_TRUE(comesTo([&] { return !panel.isShown(); }));
        press("alt+space");
        EXPECT_TRUE(panel.comesForward());
    }

    const Panel other(otherSession, ownFolder_);
    EXPECT_TRUE(comesTo([&] { return other.isShown(); }));
    giveKeyboard(other);
    press("alt+space");
    EXPECT_TRUE(panel.comesForward());
    EXPECT_TRUE(other.isShown());
}

TEST_F(WindowTest, LaterStartsEndAtOnceAndReachTheFirst) {
    const Session session;
    Panel panel(session);
    ASSERT_TRUE(panel.comesForward());

    EXPECT_EQ(session.run({"--toggle"}), 0);
    EXPECT_TRUE(comesTo([&] { return !panel.isShown(); }));
    EXPECT_EQ(session.run({"--toggle"}), 0);
    EXPECT_TRUE(panel.comesForward());
    for (const char* flag : {"--show", ""}) {
        press("Escape");
        EXPECT_TRUE(comesTo([&] { return !panel.isShown(); }));
        EXPECT_EQ(session.run(*flag == '\0' ? std::vector<std::string>{}
                                            : std::vector<std::string>{flag}),
                  0);
        EXPECT_TRUE(panel.comesForward()) << flag;
    }

    // A text stands in the field: Escape clears it before it hides the window.
    press("Escape");
    EXPECT_TRUE(comesTo([&] { return !panel.isShown(); }));
    EXPECT_EQ(session.run({"--search", "some text"}), 0);
    EXPECT_TRUE(panel.comesForward());
    press("Escape");
    session.settle();
    EXPECT_TRUE(panel.isShown());
    press("Escape");
    EXPECT_TRUE(comesTo([&] { return !panel.isShown(); }));
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
        ASSERT_TRUE(comesTo([&] { return panel.hasKeyboard(); }));
        ASSERT_TRUE(comesTo([&] { return session.catalogues().size() == 1; }));
        if (withSettings) {
            press("ctrl+comma");
            EXPECT_TRUE(comesTo([&] { return !panel.hasKeyboard(); }));
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
    ASSERT_TRUE(comesTo([&] { return panel.isShown(); }));
    giveKeyboard(panel);
    press("alt+F4");
    EXPECT_EQ(panel.program().wait(), 0);

    giveKeyboard(holder);
    press("alt+F4");
    EXPECT_TRUE(comesTo([&] { return !holder.isShown(); }));
    press("alt+space");
    EXPECT_TRUE(holder.comesForward());
}

} // namespace quarrydex
