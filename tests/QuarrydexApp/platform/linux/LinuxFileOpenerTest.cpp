#include "QuarrydexApp/platform/linux/LinuxFileOpener.h"

#include "QuarrydexCore/base/Files.h"

#include "tests/fakes/FakeBusService.h"
#include "tests/support/EventLoop.h"
#include "tests/support/LoopImage.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/QtApplication.h"
#include "tests/support/TempTree.h"

#include <QDBusError>

#include <optional>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::comesTo;

/// A desktop with two applications, one for *.one and folders, one for *.two, which note what they
/// are given. GLib reads where the desktop is only once, so it is the same for all tests.
class Desktop {
  public:
    static Desktop& shared() {
        static Desktop desktop;
        return desktop;
    }

    /// What the application was given so far: a line a call, the paths between bars.
    [[nodiscard]] std::string given(const std::string& application) const {
        std::string text;
        const int error = readFile(tree_.path(application + ".given"), 1 << 20, text);
        return error == 0 ? text : "";
    }

    void forget() {
        for (const char* application : {"one", "two"})
            tree_.file(std::string(application) + ".given", "");
    }

  private:
    Desktop() {
        tree_.file("mime/globs2", "50:application/x-one:*.one\n50:application/x-two:*.two\n");
        addApplication("one", "application/x-one;inode/directory;");
        addApplication("two", "application/x-two;");
        tree_.file("applications/mimeapps.list",
                   "[Default Applications]\napplication/x-one=one.desktop\n"
                   "application/x-two=two.desktop\ninode/directory=one.desktop\n");
        for (const char* name :
             {"XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"})
            qputenv(name, tree_.path().c_str());
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    void addApplication(const std::string& name, const std::string& types) {
        // One write, so that a line is there as a whole or not at all.
        tree_.file(name, "#!/bin/sh\nline=\nfor path; do line=\"$line|$path\"; done\n"
                         "printf '%s|\\n' \"$line\" >>'" +
                             tree_.path(name + ".given") + "'\n");
        tree_.chmod(name, 0755);
        tree_.file("applications/" + name + ".desktop",
                   "[Desktop Entry]\nType=Application\nName=" + name +
                       "\nExec=" + tree_.path(name) + " %F\nMimeType=" + types + "\n");
    }

    TempTree tree_;
};

class LinuxFileOpenerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QDX_NEEDS(PrivateBus::lack());
        Desktop::shared().forget();
        opener_.emplace(PrivateBus::shared().connect());
    }

    FileOpener::Failed note() {
        return [this](const std::string& message) { messages_.push_back(message); };
    }

    TempTree tree_;
    std::optional<LinuxFileOpener> opener_;
    std::vector<std::string> messages_;
};

} // namespace

TEST_F(LinuxFileOpenerTest, FilesOfOneApplicationAreOpenedTogetherByTheirBytes) {
    const char* names[] = {"a b.one", "caf\xC3\xA9 100%#?.one", "x\xFF.one", "y.two"};
    std::vector<std::string> paths;
    for (const char* name : names) {
        tree_.file(name, 1); // an empty file is a text to the desktop, whatever its name
        paths.push_back(tree_.path(name));
    }
    opener_->open(paths, note());
    const Desktop& desktop = Desktop::shared();
    EXPECT_TRUE(
        comesTo([&] { return !desktop.given("one").empty() && !desktop.given("two").empty(); }));
    EXPECT_EQ(desktop.given("one"), "|" + paths[0] + "|" + paths[1] + "|" + paths[2] + "|\n");
    EXPECT_EQ(desktop.given("two"), "|" + paths[3] + "|\n");
    EXPECT_TRUE(messages_.empty());
}

TEST_F(LinuxFileOpenerTest, WhatCannotBeOpenedIsToldOnceAndTheRestIsOpened) {
    tree_.file("good.one", 1);
    tree_.file("strange.zzz", std::string_view("\0\1\2", 3));

    const struct {
        std::vector<std::string> names;
        std::string said;
    } cases[] = {
        {{"strange.zzz"}, "No application is set up to open “strange.zzz”."},
        {{"gone.one", "good.one"}, "“gone.one” no longer exists."},
        {{"gone.one", "gone 2.one", "gone 3.one"},
         "\n2 more items could not be opened."}, // whichever is found first
    };

    for (const auto& c : cases) {
        messages_.clear();
        std::vector<std::string> paths;
        for (const std::string& name : c.names)
            paths.push_back(tree_.path(name));
        opener_->open(paths, note());
        EXPECT_TRUE(messages_.empty()) << "told before open returned";
        EXPECT_TRUE(comesTo([&] { return !messages_.empty(); }));
        ASSERT_EQ(messages_.size(), 1U);
        EXPECT_TRUE(messages_[0].ends_with(c.said)) << messages_[0];
    }
    EXPECT_TRUE(comesTo([&] { return !Desktop::shared().given("one").empty(); }));
    EXPECT_EQ(Desktop::shared().given("one"), "|" + tree_.path("good.one") + "|\n");
}

TEST_F(LinuxFileOpenerTest, TheFileManagerIsGivenEncodedAddresses) {
    FakeBusService manager(PrivateBus::shared().connect(), "org.freedesktop.FileManager1",
                           [](const QDBusMessage& call) { return call.createReply(); });
    opener_->reveal({"/a b/caf\xC3\xA9 100%#?", "/x\xFF"}, note());
    EXPECT_TRUE(comesTo([&] { return !manager.calls().empty(); }));
    const QDBusMessage call = manager.calls().at(0);
    EXPECT_EQ(call.member(), QStringLiteral("ShowItems"));
    EXPECT_EQ(call.path(), QStringLiteral("/org/freedesktop/FileManager1"));
    EXPECT_EQ(call.signature(), QStringLiteral("ass"));
    EXPECT_EQ(call.arguments().at(0).toStringList(),
              (QStringList{"file:///a%20b/caf%C3%A9%20100%25%23%3F", "file:///x%FF"}));
}

TEST_F(LinuxFileOpenerTest, WithoutAFileManagerEachFolderIsOpenedOnce) {
    tree_.file("f/a");
    tree_.file("f/b");
    for (const bool isBusThere : {true, false}) {
        if (!isBusThere)
            opener_.emplace(PrivateBus::broken());
        Desktop::shared().forget();
        opener_->reveal({tree_.path("f/a"), tree_.path("f/b")}, note());
        EXPECT_TRUE(comesTo([&] { return !Desktop::shared().given("one").empty(); }));
        EXPECT_EQ(Desktop::shared().given("one"), "|" + tree_.path("f") + "|\n");
    }
}

TEST_F(LinuxFileOpenerTest, AFileManagerThatHangsOpensNothingElse) {
    tree_.file("f/a");
    FakeBusService manager(PrivateBus::shared().connect(), "org.freedesktop.FileManager1",
                           [](const QDBusMessage& call) {
                               return call.createErrorReply(QDBusError::NoReply, "late");
                           });
    opener_->reveal({tree_.path("f/a")}, note());
    EXPECT_TRUE(comesTo([&] { return !messages_.empty(); }));
    EXPECT_EQ(messages_.at(0), "The file manager does not answer.");
    EXPECT_EQ(Desktop::shared().given("one"), "");
}

} // namespace quarrydex
