#include "QuarrydexApp/table/Coordinator.h"

#include "tests/support/TableWindow.h"
#include "tests/support/TempTree.h"
#include "tests/support/WidgetsApplication.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>

#include <cerrno>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::TableWindow;
using Names = std::vector<std::string>;

/// A table over files that are really there.
struct FileWindow : TableWindow {
    TempTree tree;

    /// Files, and folders where the name ends in "/".
    explicit FileWindow(const Names& names = {"a.txt", "b.txt", "c.txt", "d/"}) {
        for (const std::string& name : names) {
            if (name.ends_with('/'))
                tree.folder(name.substr(0, name.size() - 1));
            else
                tree.file(name);
        }
        auto index = std::make_shared<VolumeIndex>(1000, 100'000);
        const std::vector<std::string> roots = {tree.path()};
        index->scan(roots, 1);
        add(tree.path(), index);
    }

    [[nodiscard]] std::string path(const std::string& name) const { return tree.path(name); }

    void moveToTrash(Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        press(Qt::Key_Delete, modifiers);
        finishActions();
    }

    /// Types over the stem of the selected name, and ends with that key.
    void editName(const char* typed, Qt::Key end = Qt::Key_Return) {
        press(Qt::Key_F2);
        QTest::keyClicks(editor(), typed);
        QTest::keyClick(editor(), end);
        finishActions();
    }
};

using Told = std::vector<std::pair<std::string, std::string>>; ///< messages and texts

constexpr const char* filesText = "You can restore them from the Trash.";
constexpr const char* folderText =
    "Folders are moved to the Trash with everything inside them. You can restore them from there.";

// --- Trash --------------------------------------------------------------------------------------

TEST(TrashTest, AsksFirstAndSaysWhatWillHappen) {
    const struct {
        RowSelection::Range rows;
        const char* message;
        const char* text;
    } cases[] = {{{0, 1}, "Move “a.txt” to the Trash?", filesText},
                 {{3, 4}, "Move “d” to the Trash?", folderText},
                 {{0, 3}, "Move 3 items to the Trash?", filesText},
                 {{0, 4}, "Move 4 items to the Trash?", folderText}};

    FileWindow w;
    w.alerts.answer = {.isYes = false, .suppresses = true};
    for (const auto& [rows, message, text] : cases) {
        w.select(rows);
        w.moveToTrash();
        const Alerts::Question& asked = w.alerts.asked.back();
        EXPECT_EQ(asked.message, message);
        EXPECT_EQ(asked.text, text);
        EXPECT_EQ(asked.yes + '|' + asked.no, "Move to Trash|Cancel");
    }
    EXPECT_EQ(w.alerts.asked.size(), 4U);
    EXPECT_TRUE(w.trash.taken.empty());
    EXPECT_TRUE(w.prefs.confirmTrash()); // the check box counts with the first button alone

    w.alerts.answer.isYes = true;
    w.moveToTrash();
    EXPECT_FALSE(w.prefs.confirmTrash());
}

TEST(TrashTest, TrashedRowsAreGoneAtOnce) {
    FileWindow w;
    w.select({1, 3});
    w.moveToTrash(Qt::ControlModifier);
    EXPECT_EQ(w.trash.taken, (Names{w.path("b.txt"), w.path("c.txt")}));
    EXPECT_TRUE(w.table->selected().empty());
    EXPECT_TRUE(w.table->values().isGone(w.table->shown().row(1)));
    EXPECT_FALSE(w.table->values().isGone(w.table->shown().row(0)));

    w.table->selectAll(); // nothing is done twice
    w.moveToTrash();
    EXPECT_EQ(w.trash.taken.size(), 4U);
    w.moveToTrash(); // nothing is left
    EXPECT_EQ(w.alerts.asked.size(), 2U);
}

TEST(TrashTest, FailuresAreToldTogether) {
    FileWindow w;
    w.prefs.setConfirmTrash(false);
    w.trash.answer = [&](const Item& item) {
        return item.path == w.path("b.txt") ? TrashResult{TrashResult::Kind::moved, ""}
                                            : TrashResult{TrashResult::Kind::unsupported, ""};
    };
    w.select({0, 3});
    w.moveToTrash();
    EXPECT_EQ(w.selectedNames(), (Names{"a.txt", "c.txt"}));
    w.tree.remove("a.txt");
    w.table->selectRow(0);
    w.moveToTrash();
    EXPECT_TRUE(w.alerts.asked.empty());
    EXPECT_EQ(w.alerts.told,
              (Told{{"Moving to the Trash: 2 items not processed",
                     "There is no Trash for “a.txt” (e.g. a network or read-only drive).\n"
                     "There is no Trash for “c.txt” (e.g. a network or read-only drive)."},
                    {"Moving to the Trash did not work", "“a.txt” no longer exists."}}));
}

// --- Drives that are not connected --------------------------------------------------------------

TEST(OfflineTest, EveryOperationIsRefusedWithTheDrivesName) {
    FileWindow w;
    w.add("/media/Blue Stick", {{.name = "z", .parent = 0}});
    w.model.volumes()[1]->offline = true;
    QSignalSpy previews(w.table.get(), &ResultsTable::quickLookRequested);
    w.table->selectAll(); // one of them is enough
    w.press(Qt::Key_Return);
    w.press(Qt::Key_Return, Qt::ControlModifier);
    w.press(Qt::Key_Space);
    w.press(Qt::Key_Delete);
    w.table->selectRow(4);
    w.press(Qt::Key_F2);
    w.finishActions();
    ASSERT_EQ(w.alerts.told.size(), 5U);
    for (const auto& [message, text] : w.alerts.told)
        EXPECT_EQ(message, "“Blue Stick” is not connected");
    EXPECT_TRUE(w.alerts.asked.empty() && w.trash.taken.empty());
    EXPECT_TRUE(w.opener.opened.empty() && w.opener.revealed.empty());
    EXPECT_EQ(previews.count(), 0);
    EXPECT_EQ(w.editor(), nullptr);

    w.table->selectAll();
    const auto data = w.table->coordinator().dragData();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->urls().size(), 4); // of the connected drive
}

// --- Opening, copying ---------------------------------------------------------------------------

TEST(OpenTest, ManyFilesAreOpenedOnlyWhenTheUserMeansIt) {
    TableWindow w;
    w.add("/a", testing::numberedFiles(1'200));
    w.select({0, 20});
    w.press(Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_EQ(w.opener.opened.size(), 20U);
    EXPECT_EQ(w.opener.opened[7], "/a/f000007");
    w.alerts.answer.isYes = false;
    w.select({0, 21});
    w.press(Qt::Key_Return);
    EXPECT_EQ(w.alerts.asked.size(), 1U);
    EXPECT_EQ(w.opener.opened.size(), 20U);
    w.table->selectAll();
    w.press(Qt::Key_Return);
    EXPECT_EQ(w.alerts.told.size(), 1U); // too many by far
    EXPECT_EQ(w.table->coordinator().dragData(), nullptr);

    w.opener.failure = "No application";
    w.table->selectRow(0);
    w.press(Qt::Key_Return);
    EXPECT_EQ(w.alerts.told.back(), Told::value_type("Opening did not work", "No application"));
}

TEST(CopyTest, PathsAreCopiedByteByByte) {
    TableWindow w;
    w.add("/a", {{.name = "caf\xE9", .parent = 0}, {.name = "b c%", .parent = 0}});
    w.table->selectAll();
    w.press(Qt::Key_C, Qt::ControlModifier);
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    EXPECT_EQ(copied->text(), "/a/b c%\n/a/caf\uFFFD");
    ASSERT_EQ(copied->urls().size(), 2);
    EXPECT_EQ(copied->urls()[0].toEncoded(), "file:///a/b%20c%25");
    EXPECT_EQ(copied->urls()[1].toEncoded(), "file:///a/caf%E9");
}

// --- Rename -------------------------------------------------------------------------------------

TEST(RenameTest, StemIsReplacedWhenReturnCommits) {
    FileWindow w({"song.tar.gz", "x"});
    w.table->selectRow(0);
    w.editName("new");
    EXPECT_EQ(w.rename.asked, Names{w.path("song.tar.gz") + " → new.gz"});
    EXPECT_EQ(w.table->values().text(w.table->shown().row(0), Column::name), "new.gz");

    w.rename.answer = [](const Item&, const std::string&, const RenameOptions&) { return EEXIST; };
    w.table->selectRow(1);
    w.editName("taken");
    EXPECT_EQ(w.alerts.told,
              (Told{{"Renaming did not work", "There is already something named “taken” here."}}));
    EXPECT_EQ(w.table->values().text(w.table->shown().row(1), Column::name), "x");
}

TEST(RenameTest, RenamedFileIsSelectedUnderItsNewName) {
    FileWindow w;
    w.rename.answer = [&](const Item&, const std::string& name, const RenameOptions&) {
        w.tree.rename("a.txt", name);
        return 0;
    };
    w.table->selectRow(0);
    w.editName("zzz");
    const std::vector<std::string> dirs = {w.tree.path()};
    w.model.volumes()[0]->index->refresh(dirs, {}); // as the watcher does
    w.update();
    EXPECT_EQ(w.selectedNames(), Names{"zzz.txt"});
    EXPECT_EQ(w.name(w.table->currentRow().value()), "zzz.txt");
}

TEST(RenameTest, NothingHappensWithoutCommitOrChange) {
    FileWindow w;
    w.table->selectRow(0);
    w.editName("other", Qt::Key_Escape);
    w.editName("");
    w.select({0, 2}); // two names cannot be edited at once
    w.press(Qt::Key_F2);
    EXPECT_FALSE(w.table->coordinator().isRenaming());
    EXPECT_TRUE(w.rename.asked.empty());
    EXPECT_TRUE(w.alerts.told.empty());
}

TEST(RenameTest, BytesThatCannotBeShownAreNeverGuessed) {
    for (const char* name : {"caf\xE9.txt", "two\nlines.txt"}) {
        FileWindow w({name});
        w.table->selectRow(0);
        w.press(Qt::Key_F2);
        QTest::keyClick(w.editor(), Qt::Key_Home);
        QTest::keyClicks(w.editor(), "my ");
        QTest::keyClick(w.editor(), Qt::Key_Return);
        w.finishActions();
        EXPECT_TRUE(w.rename.asked.empty());
        EXPECT_EQ(w.alerts.told.size(), 1U);
        w.press(Qt::Key_F2);
        w.editor()->setText("whole.txt");
        QTest::keyClick(w.editor(), Qt::Key_Return);
        w.finishActions();
        EXPECT_EQ(w.rename.asked, Names{w.path(name) + " → whole.txt"});
    }
}

TEST(RenameTest, RowsStayWhileANameIsEdited) {
    FileWindow w;
    w.table->selectRow(2);
    w.press(Qt::Key_F2);
    w.model.volumes()[0]->index->markDeleted(rowEntry(w.table->shown().rows()[0]));
    w.model.runSearch(false);
    ASSERT_TRUE(comesTo([&] { return w.model.results()->rows.size() == 3; }));
    EXPECT_EQ(w.table->shown().count(), 4U);
    QTest::keyClick(w.editor(), Qt::Key_Escape);
    EXPECT_EQ(w.table->shown().count(), 3U);
    EXPECT_EQ(w.selectedNames(), Names{"c.txt"});

    w.press(Qt::Key_F2);
    w.model.setQuery("b"); // another search ends it without a commit
    w.settle();
    EXPECT_FALSE(w.table->coordinator().isRenaming());
    EXPECT_TRUE(w.rename.asked.empty());
}

TEST(ContextMenuTest, OneNameAtATimeCanBeChanged) {
    FileWindow w;
    const auto renameIsEnabled = [&] {
        QMenu menu;
        w.table->coordinator().menuNeedsUpdate(menu);
        for (const QAction* action : menu.actions())
            if (action->text() == "Rename")
                return action->isEnabled();
        return false;
    };
    w.table->selectRow(0);
    EXPECT_TRUE(renameIsEnabled());
    w.table->selectAll();
    EXPECT_FALSE(renameIsEnabled());
}

} // namespace
} // namespace quarrydex
