#include "QuarrydexApp/windows/SearchPanel.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/windows/Chip.h"
#include "QuarrydexApp/windows/QuickLook.h"
#include "QuarrydexCore/text/Lang.h"

#include "tests/support/TableWindow.h"
#include "tests/support/WidgetsApplication.h"
#include "tests/support/WindowMachine.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::numberedFiles;
using testing::press;
using testing::withText;
using Names = std::vector<std::string>;

class SearchPanelTest : public ::testing::Test {
  protected:
    SearchPanelTest() { panel.show(); }

    ~SearchPanelTest() override { w.prefs.setLanguage("system"); }

    QLineEdit& field() { return *panel.findChild<QLineEdit*>(); }

    ResultsTable& table() { return panel.table(); }

    void add(const std::string& root, std::vector<testing::PlainEntry> entries) {
        entries.insert(entries.begin(), {root, noParent, EntryFlags::dir | EntryFlags::root});
        w.model.addVolume(root, std::shared_ptr<VolumeIndex>(testing::catalogOf(entries)));
    }

    void type(const char* text) {
        field().setFocus();
        QTest::keyClicks(&field(), QString::fromLatin1(text));
    }

    void key(Qt::Key key) { QTest::keyClick(&field(), key); }

    [[nodiscard]] bool comesToShow(std::size_t rows) {
        return comesTo([&] {
            return w.model.results()->generation == w.model.generation() &&
                   w.model.results()->total == rows && table().shown().count() == rows;
        });
    }

    [[nodiscard]] bool isShown(const char* label) {
        return withText<QLabel>(panel, label) != nullptr;
    }

    Chip* chip(const char* text) { return withText<Chip>(panel, text); }

    testing::TableWindow w; // what the panel works on
    SearchPanel panel{
        ResultsTable::Services{w.model, w.prefs, w.opener, w.files, w.actions, &w.alerts}};
};

} // namespace

TEST_F(SearchPanelTest, ArrowsLeadIntoTheResultsAndLettersBack) {
    add("/a", numberedFiles(30));
    type("f00001");
    ASSERT_TRUE(comesToShow(10));
    EXPECT_TRUE(table().isVisible());
    key(Qt::Key_Return);
    EXPECT_EQ(w.opener.opened, Names{"/a/f000010"}) << "the first is meant";
    key(Qt::Key_Down);
    QTest::keyClick(&table(), Qt::Key_Down);
    EXPECT_EQ(table().currentRow(), 2U);
    EXPECT_EQ(panel.focusWidget(), &table());
    QTest::keyClick(&table(), Qt::Key_Up);
    QTest::keyClick(&table(), Qt::Key_Enter);
    EXPECT_EQ(w.opener.opened.back(), "/a/f000011");
    QTest::keyClick(&table(), Qt::Key_7);
    EXPECT_EQ(panel.focusWidget(), &field());
    ASSERT_TRUE(comesToShow(1));
    key(Qt::Key_Down);
    QTest::keyClick(&table(), Qt::Key_Backspace);
    EXPECT_EQ(field().text(), QStringLiteral("f00001"));
}

TEST_F(SearchPanelTest, AnInvalidQueryIsToldAndTheResultsStay) {
    add("/a", numberedFiles(5));
    type("f00 ");
    ASSERT_TRUE(comesToShow(5));
    type("size:>x");
    EXPECT_TRUE(isShown("Invalid search: size: x"));
    EXPECT_EQ(table().shown().count(), 5U);
    panel.setQuery(QStringLiteral("f000003"));
    ASSERT_TRUE(comesToShow(1));
    EXPECT_FALSE(isShown("Invalid search: size: x"));
}

TEST_F(SearchPanelTest, EveryEmptyStateOffersAWayOn) {
    QSignalSpy chooser(&panel, &SearchPanel::sourceChooserRequested);
    ASSERT_TRUE(isShown("Nothing selected to search yet"));
    EXPECT_TRUE(press(panel, "Choose drives and folders …"));
    EXPECT_EQ(chooser.count(), 1);

    add("/a", numberedFiles(5));
    add("/b", {{.name = "other.txt", .parent = 0}});
    ASSERT_TRUE(comesTo([&] { return press(panel, "bpm:120..128 ext:mp3"); }));
    EXPECT_EQ(field().text(), QStringLiteral("bpm:120..128 ext:mp3"));

    panel.setQuery(QStringLiteral("f00 nowhere"));
    ASSERT_TRUE(comesTo([&] { return press(panel, "Without “nowhere”: 5 hits"); }));
    EXPECT_EQ(field().text(), QStringLiteral("f00"));
    ASSERT_TRUE(comesToShow(5));

    panel.chooseCategory("audio");
    ASSERT_TRUE(comesTo([&] { return press(panel, "In all files: 5 hits"); }));
    ASSERT_TRUE(comesToShow(5));

    ASSERT_NE(chip("b"), nullptr);
    chip("b")->click();
    panel.setQuery(QStringLiteral("other"));
    ASSERT_TRUE(comesTo([&] { return press(panel, "Search the hidden drives too"); }));
    ASSERT_TRUE(comesToShow(1));
    EXPECT_TRUE(chip("b")->isChecked());
}

TEST_F(SearchPanelTest, ChipsFilterByCategoryAndDrive) {
    add("/a", {{.name = "song.mp3", .parent = 0}, {.name = "song.txt", .parent = 0}});
    add("/b", {{.name = "song", .parent = 0, .flags = EntryFlags::dir}});
    w.model.volumes()[1]->id = "STICK";
    type("song");
    ASSERT_TRUE(comesToShow(3));

    const struct {
        const char* chip;
        std::size_t rows;
    } chips[] = {{"Audio", 1}, {"Folders", 1}, {"Documents", 1}, {"All", 3}};

    for (const auto& each : chips) {
        chip(each.chip)->click();
        EXPECT_TRUE(comesToShow(each.rows)) << each.chip;
        EXPECT_TRUE(chip(each.chip)->isChecked());
    }
    EXPECT_FALSE(chip("Audio")->isChecked());

    chip("b")->click();
    EXPECT_TRUE(comesToShow(2));
    EXPECT_EQ(w.prefs.hiddenVolumes(), Names{"STICK"});
    chip("b")->click();
    EXPECT_TRUE(comesToShow(3));
}

TEST_F(SearchPanelTest, ThePreviewGoesWithTheSelection) {
    add("/a", numberedFiles(200));
    type("f0");
    ASSERT_TRUE(comesToShow(200));
    key(Qt::Key_Down);
    QTest::keyClick(&table(), Qt::Key_Space);
    const auto preview = [] {
        for (QWidget* window : QApplication::topLevelWidgets())
            if (auto* found = qobject_cast<QuickLook*>(window); found && found->isVisible())
                return found;
        return static_cast<QuickLook*>(nullptr);
    };
    ASSERT_NE(preview(), nullptr);
    EXPECT_EQ(preview()->windowTitle(), QStringLiteral("f000000"));
    QTest::keyClick(preview(), Qt::Key_Down);
    EXPECT_EQ(table().currentRow(), 1U);
    EXPECT_EQ(preview()->windowTitle(), QStringLiteral("f000001"));
    RowSelection three;
    for (const std::size_t row : {0U, 1U, 150U})
        three.append(row);
    table().setSelected(three);
    QTest::keyClick(preview(), Qt::Key_Down); // of several files the selected ones are gone through
    EXPECT_EQ(preview()->windowTitle(), QStringLiteral("f000150"));
    EXPECT_EQ(table().currentRow(), 150U);
    EXPECT_GT(table().visibleRows().end, 150U);
    EXPECT_EQ(table().selected(), three);
    QTest::keyClick(preview(), Qt::Key_Space);
    EXPECT_EQ(preview(), nullptr);
    QTest::keyClick(&table(), Qt::Key_Space);
    panel.hide();
    EXPECT_EQ(preview(), nullptr);
}

TEST_F(SearchPanelTest, TheHeaderGoesOnBehindItsLastTitle) {
    for (const char* look : {"light", "dark"}) {
        applyAppearance(look, false);
        TableHeader& header = table().header();
        header.resize(header.length() + 200, header.sizeHint().height());
        const QImage picture = header.grab().toImage();
        for (int y = 0; y < picture.height(); ++y)
            ASSERT_EQ(picture.pixelColor(header.length() + 100, y),
                      picture.pixelColor(header.length() - 20, y))
                << look << y;
    }
}

TEST_F(SearchPanelTest, AnotherLanguageReachesEveryText) {
    add("/a", numberedFiles(4));
    const QString before = field().placeholderText();
    w.prefs.setLanguage("de");
    QEvent change(QEvent::LanguageChange);
    QCoreApplication::sendEvent(&panel, &change);
    EXPECT_NE(field().placeholderText(), before);
    EXPECT_TRUE(comesTo([&] { return chip("Ordner") != nullptr; }));
    EXPECT_NE(chip("a"), nullptr) << "drives keep their names";
}

} // namespace quarrydex
