/// What tests of the program's windows share: an X server with a window manager, users' sessions,
/// and programs that run in them. The test's event loop runs while something is waited for.
///
/// Threads: the main thread, with a QCoreApplication. Failure: told in the test.
#pragma once

#include "QuarrydexApp/dbus/BusNames.h"

#include "tests/support/BusCall.h"
#include "tests/support/BusDaemon.h"
#include "tests/support/EventLoop.h"
#include "tests/support/LoopImage.h"
#include "tests/support/Program.h"
#include "tests/support/QtApplication.h"
#include "tests/support/TempTree.h"
#include "tests/support/XServer.h"

#include <QDBusConnection>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::testing {

inline XServer& server() {
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
        // A window that is there before it does not get the keyboard.
        EXPECT_TRUE(comesTo([] { return server().ask({"get_num_desktops"}).status == 0; }));
    }

    TempTree tree_;
    std::optional<RunningProgram> manager_;
};

/// Longer than for what happens in a program that runs: here programs start.
inline bool eventually(const std::function<bool()>& holds) {
    return comesTo(holds) || comesTo(holds) || comesTo(holds);
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
        const QDBusMessage done = callBus(bus(), busNames::service, busNames::path,
                                          "org.freedesktop.DBus.Introspectable", "Introspect", {});
        EXPECT_EQ(done.type(), QDBusMessage::ReplyMessage) << done.errorMessage().toStdString();
    }

    [[nodiscard]] QDBusConnection bus() const {
        const QString address = QString::fromStdString(bus_.address());
        return QDBusConnection::connectToBus(address, address); // named by it
    }

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

    /// The number of the program's window with this title, empty while it is not to be seen.
    [[nodiscard]] std::string window(const std::string& title = "Quarrydex") const {
        const std::string found =
            server()
                .ask({"search", "--all", "--onlyvisible", "--pid", std::to_string(program_.id()),
                      "--name", "^" + title + "$"})
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
        const bool isForward = eventually([&] { return hasKeyboard(); });
        session_.settle();
        return isForward;
    }

    /// Returns when it knows that another window has the keyboard: Qt counts a window as active for
    /// a tenth of a second longer, as it may get the keyboard back at once.
    void noticeLoss() const {
        session_.settle(); // it has been told
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        session_.settle(); // that time is over in its own event loop too
    }

    RunningProgram& program() { return program_; }

  private:
    const Session& session_;
    RunningProgram program_;
};

/// A test on that X server.
class OnScreenTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QDX_NEEDS(WindowManager::lack());
        QDX_NEEDS(BusDaemon::lack());
        WindowManager::ensure();
    }

    static void press(const char* keys) { server().type({"key", keys}); }

    static void giveKeyboard(const Panel& panel) {
        EXPECT_TRUE(eventually([&] {
            const std::string window = panel.window();
            return !window.empty() && server().ask({"windowactivate", window}).status == 0 &&
                   panel.hasKeyboard();
        }));
    }

    TempTree tree_;
};

} // namespace quarrydex::testing
