// The built program and the desktop's tray.

#include "tests/fakes/FakeStatusNotifier.h"
#include "tests/support/WindowSession.h"

#include <filesystem>
#include <optional>
#include <utility>

namespace quarrydex {

namespace {

using testing::eventually;
using testing::Panel;
using testing::Session;

class TrayTest : public testing::OnScreenTest {
  protected:
    void SetUp() override {
        OnScreenTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        session_.emplace();
        tray_.emplace(session_->bus());
    }

    [[nodiscard]] bool hasItem() const {
        return eventually([&] { return !tray_->items().empty(); });
    }

    [[nodiscard]] static bool goes(const Panel& panel) {
        return eventually([&] { return !panel.isShown(); });
    }

    std::optional<Session> session_;
    std::optional<FakeStatusNotifier> tray_;
};

} // namespace

TEST_F(TrayTest, TheItemBearsNameAndSignAndTogglesTheWindow) {
    const Panel panel(*session_);
    ASSERT_TRUE(panel.comesForward());
    ASSERT_TRUE(hasItem());
    EXPECT_EQ(tray_->value("Title").toString(), QStringLiteral("Quarrydex"));
    EXPECT_EQ(tray_->value("Status").toString(), QStringLiteral("Active"));
    const auto sizes = tray_->value("IconPixmap").value<QDBusArgument>();
    sizes.beginArray();
    EXPECT_FALSE(sizes.atEnd()) << "no picture";
    for (int round = 0; round < 2; ++round) {
        tray_->activate();
        EXPECT_TRUE(goes(panel));
        tray_->activate();
        EXPECT_TRUE(panel.comesForward());
    }
}

TEST_F(TrayTest, TheMenuOpensEachWindow) {
    const Panel panel(*session_);
    ASSERT_TRUE(panel.comesForward());
    ASSERT_TRUE(hasItem());
    EXPECT_EQ(tray_->menu(), (QStringList{"Open search", "Find duplicates …", "Settings …",
                                          "Check for updates …", "", "Quit Quarrydex"}));
    EXPECT_TRUE(tray_->choose("Open search"));
    EXPECT_TRUE(goes(panel));
    EXPECT_TRUE(tray_->choose("Open search"));
    EXPECT_TRUE(panel.comesForward());
    for (const auto& [entry, title] : {std::pair("Find duplicates …", "Find duplicates"),
                                       std::pair("Settings …", "Quarrydex Settings")}) {
        EXPECT_TRUE(tray_->choose(QString::fromUtf8(entry)));
        EXPECT_TRUE(eventually([&, name = title] { return !panel.window(name).empty(); })) << title;
    }
}

TEST_F(TrayTest, TheMenuSpeaksAnotherLanguageAtOnce) {
    Panel panel(*session_);
    ASSERT_TRUE(panel.comesForward());
    ASSERT_TRUE(hasItem());
    EXPECT_TRUE(tray_->choose("Settings …"));
    const auto settings = [&] { return panel.window("Quarrydex Settings"); };
    EXPECT_TRUE(eventually([&] {
        return !settings().empty() &&
               testing::server().ask({"getwindowfocus"}).out == settings() + "\n";
    }));
    session_->settle();
    press("alt+l");
    press("d");
    EXPECT_TRUE(eventually([&] { return tray_->menu().contains("Quarrydex beenden"); }));
    EXPECT_TRUE(tray_->choose("Quarrydex beenden"));
    EXPECT_EQ(panel.program().wait(), 0);
}

TEST_F(TrayTest, QuittingSaves) {
    tree_.file("root/Song.mp3", 10);
    Panel panel(*session_, {"--root", tree_.path("root")});
    ASSERT_TRUE(hasItem());
    ASSERT_TRUE(eventually([&] { return session_->catalogues().size() == 1; }));
    std::filesystem::remove(session_->catalogues().front());
    tree_.file("root/Late.mp3", 10);
    EXPECT_TRUE(tray_->choose("Check for updates …")); // a question that is still open
    EXPECT_TRUE(tray_->choose("Quit Quarrydex"));
    EXPECT_EQ(panel.program().wait(), 0);
    EXPECT_EQ(session_->catalogues().size(), 1U);
}

TEST_F(TrayTest, AHiddenProgramStaysWhileTheTrayBringsItBackAndElseShowsItself) {
    const Session otherSession;
    const Panel holder(otherSession); // of the hot key
    ASSERT_TRUE(holder.comesForward());

    Panel panel(*session_, {"--background"});
    ASSERT_TRUE(hasItem());
    EXPECT_FALSE(panel.isShown());
    tray_->activate();
    ASSERT_TRUE(eventually([&] { return panel.isShown(); }));
    giveKeyboard(panel);
    press("alt+F4");
    EXPECT_TRUE(goes(panel));
    tray_->activate();
    EXPECT_TRUE(eventually([&] { return panel.isShown(); }));
    giveKeyboard(panel);
    press("Escape");
    EXPECT_TRUE(goes(panel));
    session_->settle(); // it has seen that there is a tray

    tray_.reset();
    EXPECT_TRUE(eventually([&] { return panel.isShown(); }));
    tray_.emplace(session_->bus());
    ASSERT_TRUE(hasItem()) << "a tray that was started anew lacks it";
    giveKeyboard(panel);
    session_->settle();
    tray_->activate();
    EXPECT_TRUE(goes(panel));
}

} // namespace quarrydex
