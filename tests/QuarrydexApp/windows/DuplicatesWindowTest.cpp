#include "QuarrydexApp/windows/DuplicatesWindow.h"

#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/DupDetail.h"
#include "QuarrydexApp/windows/DupTree.h"
#include "QuarrydexApp/windows/EmptyState.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeFileOpener.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/support/DupDesk.h"
#include "tests/support/WidgetsApplication.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::DupDesk;
using State = DupModel::State;
using Paths = std::vector<std::string>;

class DuplicatesWindowTest : public ::testing::Test {
  protected:
    void open() {
        DupDialogs dialogs;
        dialogs.askPath = [this](QWidget*, const QString& name, const auto& chosen) {
            suggested = name;
            chosen(listPath);
        };
        dialogs.alert = [this](QWidget*, const QString& title, const QString& text) {
            alerts += title + u'\n' + text;
        };
        window = std::make_unique<DuplicatesWindow>(
            *desk.model, prefs, opener, DuplicatesWindow::Seams{desk.tools(), dialogs}, nullptr);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    }

    /// By the keyboard, with the window as it opens.
    void run() {
        QTest::keyClick(window->focusWidget(), Qt::Key_Space);
        EXPECT_EQ(dupes().state(), State::running);
        ASSERT_TRUE(DupDesk::comesToEnd(dupes()));
    }

    DupModel& dupes() { return window->dupModel(); }

    template <class Widget> Widget& child(const char* name = nullptr) {
        return *window->findChild<Widget*>(name ? QString::fromLatin1(name) : QString());
    }

    DupTree& tree() { return child<DupTree>(); }

    QString summary() { return child<QLabel>("summary").text(); }

    QAction* listAction(int list) { return window->findChild<QMenu*>()->actions().at(list); }

    DupDesk desk;
    FakeMountTable mounts;
    FakeAppFolders folders;
    FakeSettings settings;
    Prefs prefs{settings, folders, mounts};
    FakeFileOpener opener;
    std::string listPath = desk.music.tree.path("list.m3u");
    QString suggested;
    QStringList alerts;
    std::unique_ptr<DuplicatesWindow> window;
};

TEST_F(DuplicatesWindowTest, BeforeARunItSaysWhatWillHappenOrWhatIsMissing) {
    open();
    EXPECT_TRUE(child<EmptyState>().spoken().startsWith("No audio files"));
    desk.twoGroups();
    Q_EMIT desk.model->volumesChanged();
    EXPECT_TRUE(child<EmptyState>().spoken().contains("No file is changed or deleted"));
}

TEST_F(DuplicatesWindowTest, GroupsAreShownWithTheirCopies) {
    desk.twoGroups();
    open();
    QAbstractItemModel& model = *tree().model();
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    run();
    EXPECT_TRUE(tree().isVisible());
    EXPECT_EQ(window->focusWidget(), &tree());
    ASSERT_EQ(model.rowCount(), 2);
    const QModelIndex song = model.index(1, 0);
    EXPECT_EQ(model.data(song, Qt::AccessibleTextRole).toString(),
              "The Band – Song, 2 copies · same song · surplus: 4.00 kB");
    EXPECT_TRUE(tree().isExpanded(song));
    QStringList cells;
    const int kept = static_cast<int>(dupes().groups()[1].keep);
    for (int column = 0; column < model.columnCount(); ++column)
        cells += model.index(kept, column, song).data().toString();
    EXPECT_EQ(cells.mid(0, 6).join(u'|').toStdString(),
              "x.flac|The Band|Song|3:07|FLAC · 16 bit · 44.1 kHz|9.00 kB");
    EXPECT_EQ(summary(), "2 groups · surplus files: 2 · surplus size: 9.00 kB");
}

TEST_F(DuplicatesWindowTest, KeysChooseAnotherCopyOpenItAndShowIt) {
    opener.failure = "No application.";
    desk.twoGroups();
    open();
    run();
    const auto type = [&](std::initializer_list<Qt::Key> keys) {
        for (Qt::Key key : keys)
            QTest::keyClick(&tree(), key);
    };
    const auto keep = [&] { return dupes().groups()[0].keep; };
    ASSERT_EQ(tree().currentPlace(), (DupTree::Place{0, 0}));
    for (Qt::Key key : {Qt::Key_K, Qt::Key_Space}) {
        const std::size_t before = keep();
        type({before == 0 ? Qt::Key_Down : Qt::Key_Up, key});
        EXPECT_EQ(keep(), 1 - before);
    }
    type({Qt::Key_Down, Qt::Key_K});
    const QModelIndex second = tree().model()->index(1, 0, tree().model()->index(0, 0));
    EXPECT_EQ(second.data(Qt::AccessibleTextRole).toString(), "2.mp3, kept");
    EXPECT_TRUE(second.data(Qt::FontRole).value<QFont>().bold());

    type({Qt::Key_Return});
    EXPECT_EQ(opener.opened, Paths{desk.music.tree.path("b/2.mp3")});
    EXPECT_EQ(alerts, QStringList("Opening did not work\nNo application."));
    type({Qt::Key_Up, Qt::Key_Up}); // the heading stands for what is kept
    QTest::keyClick(&tree(), Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(opener.revealed, Paths{desk.music.tree.path("b/2.mp3")});
    type({Qt::Key_K});
    EXPECT_EQ(keep(), 1U) << "a heading is no copy";
}

TEST_F(DuplicatesWindowTest, MembersStandSideBySideWithTheReason) {
    desk.twoGroups();
    open();
    run();
    const std::size_t best = dupes().groups()[1].keep;
    const auto kept = static_cast<int>(best);
    const int other = 1 - kept;
    tree().setCurrentPlace({1, 1 - best});
    QTableView& table = child<DupDetail>().table();
    const QAbstractItemModel& model = *table.model();
    ASSERT_EQ(model.columnCount(), 2);
    EXPECT_EQ(table.currentIndex().column(), other);
    EXPECT_TRUE(child<DupDetail>().findChild<QLabel*>()->text().startsWith(
        "The suggested copy is lossless, the others are not."));
    const auto title = [&](int section, Qt::Orientation orientation) {
        return model.headerData(section, orientation, Qt::DisplayRole).toString();
    };
    const auto isBold = [&](const char* line, int column) {
        int row = 0;
        while (title(row, Qt::Vertical) != QString::fromLatin1(line))
            ++row;
        return model.index(row, column).data(Qt::FontRole).value<QFont>().bold();
    };
    EXPECT_TRUE(isBold("Quality", other)) << "differs from what is kept";
    EXPECT_FALSE(isBold("Quality", kept));
    EXPECT_FALSE(isBold("Artist", other));

    table.setFocus();
    QTest::keyClick(&table, Qt::Key_K);
    EXPECT_EQ(dupes().groups()[1].keep, 1 - best);
    EXPECT_EQ(title(other, Qt::Horizontal), QStringLiteral("Copy %1 · kept").arg(other + 1));
    EXPECT_EQ(title(kept, Qt::Horizontal), QStringLiteral("Copy %1 · suggested").arg(kept + 1));
    EXPECT_TRUE(isBold("Quality", kept));
    QTest::keyClick(&table, kept == 0 ? Qt::Key_Left : Qt::Key_Right);
    EXPECT_EQ(tree().currentPlace(), (DupTree::Place{1, best})) << "both views go together";
}

TEST_F(DuplicatesWindowTest, ProgressShowsAndEscapeKeepsWhatWasFound) {
    desk.fpcalc = "/fake/fpcalc";
    desk.twoGroups();
    open();
    QCheckBox& acoustic = child<QCheckBox>("acoustic");
    ASSERT_TRUE(comesTo([&] { return acoustic.isEnabled(); }));
    acoustic.click();
    EXPECT_TRUE(dupes().options().acoustic);
    QPushButton& button = child<QPushButton>("run");
    button.click();
    EXPECT_FALSE(child<QProgressBar>().isVisible()) << "nothing flashes up";
    ASSERT_TRUE(comesTo([&] {
        return child<QProgressBar>().isVisible() &&
               child<QLabel>("stage").text() == "Acoustic fingerprint (fpcalc)";
    }));
    EXPECT_EQ(button.text(), "Cancel");
    EXPECT_FALSE(acoustic.isEnabled());
    QTest::keyClick(&button, Qt::Key_Escape);
    EXPECT_EQ(child<QLabel>("stage").text(), "Cancelling …");
    EXPECT_FALSE(button.isEnabled());
    ASSERT_TRUE(DupDesk::comesToEnd(dupes()));
    EXPECT_TRUE(summary().startsWith("Cancelled — partial result. 2 groups"));
    EXPECT_TRUE(tree().isVisible());
    EXPECT_EQ(button.text(), "Find duplicates");
    EXPECT_TRUE(window->isVisible());
}

TEST_F(DuplicatesWindowTest, WhereNothingIsFoundItSaysSo) {
    desk.twoGroups();
    open();
    EXPECT_FALSE(child<QCheckBox>("acoustic").isEnabled());
    EXPECT_TRUE(child<QCheckBox>("acoustic").accessibleDescription().contains("fpcalc"));
    dupes().setOptions({.minSize = 1U << 20});
    run();
    EXPECT_EQ(child<EmptyState>().spoken(), "No duplicates found.\n0 audio files were considered.");
    EXPECT_FALSE(tree().isVisible());
    child<QCheckBox>("identical").click();
    child<QCheckBox>("sameSong").click();
    EXPECT_FALSE(child<QPushButton>("run").isEnabled());
}

TEST_F(DuplicatesWindowTest, ListsAreWrittenOrRefusedWithTheReason) {
    desk.twoGroups();
    open();
    run();
    listAction(static_cast<int>(DupList::m3uSurplus))->trigger();
    EXPECT_TRUE(suggested.endsWith("-duplicates-surplus.m3u"));
    ASSERT_TRUE(comesTo([&] {
        return std::ranges::any_of(window->findChildren<QLabel*>(), [](const QLabel* label) {
            return label->isVisible() && label->text().contains("Saved as");
        });
    }));
    EXPECT_TRUE(std::filesystem::exists(listPath));
    listPath = "/Volumes/Stick/list.m3u";
    listAction(static_cast<int>(DupList::m3uAll))->trigger();
    ASSERT_TRUE(comesTo([&] { return !alerts.empty(); }));
    EXPECT_TRUE(alerts.front().startsWith("Export not possible\nLists are only written as"));
}

TEST_F(DuplicatesWindowTest, ClosedDuringARunItCancelsIt) {
    desk.fpcalc = "/fake/fpcalc";
    desk.twoGroups();
    open();
    dupes().setOptions({.acoustic = true});
    window->findDuplicates();
    ASSERT_TRUE(comesTo([&] { return desk.launcher.isRunning(); }));
    window->close();
    ASSERT_TRUE(DupDesk::comesToEnd(dupes()));
    window->show();
    EXPECT_TRUE(tree().isVisible()) << "what was found is there";
    window->findDuplicates();
    window.reset();
    SUCCEED() << "destroyed while running";
}

} // namespace
} // namespace quarrydex
