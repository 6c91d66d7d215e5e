#include "QuarrydexApp/windows/SettingsWindow.h"

#include "QuarrydexCore/text/Lang.h"

#include "tests/support/EventLoop.h"
#include "tests/support/WidgetsApplication.h"
#include "tests/support/WindowMachine.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTest>
#include <QTreeWidget>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::press;
using testing::withText;
using Page = SettingsWindow::Page;
using Texts = std::vector<std::string>;

class FakeLoginStart final : public LoginStart {
  public:
    std::atomic<bool> on{false};
    std::atomic<bool> refuses{false};

    [[nodiscard]] bool isOn() const override { return on; }

    [[nodiscard]] bool set(bool wanted) override {
        if (!refuses)
            on = wanted;
        return !refuses;
    }
};

class SettingsWindowTest : public ::testing::Test {
  protected:
    SettingsWindowTest() : model(machine.makeModel()) {}

    ~SettingsWindowTest() override {
        if (window)
            waitForDrives(); // which are asked through the tables
        machine.prefs.setLanguage("system");
    }

    void open(Page page) {
        WindowSeams seams = machine.seams();
        seams.loginStart = &loginStart;
        window = std::make_unique<SettingsWindow>(model, machine.prefs, nullptr, seams);
        window->showPage(page);
        window->show();
        window->activateWindow();
        waitForDrives();
    }

    void waitForDrives() {
        EXPECT_TRUE(comesTo([&] { return !window->findChildren<QRadioButton*>().isEmpty(); }));
    }

    [[nodiscard]] QWidget& page() { return *window->findChild<QStackedWidget*>()->currentWidget(); }

    /// The widget that a label of the page leads to.
    template <typename Widget> Widget* labelled(const char* label) {
        auto* found = withText<QLabel>(page(), label);
        return found == nullptr ? nullptr : dynamic_cast<Widget*>(found->buddy());
    }

    /// The one that is asked at present; null: none.
    [[nodiscard]] QMessageBox* question() const {
        for (auto* box : window->findChildren<QMessageBox*>())
            if (box->isVisible())
                return box;
        return nullptr;
    }

    void answer(const char* button) {
        ASSERT_TRUE(comesTo([&] { return question() != nullptr; }));
        ASSERT_TRUE(press(*question(), button));
        ASSERT_TRUE(comesTo([&] { return question() == nullptr; }));
    }

    /// Types a text in place of what the line holds, and leaves it with Return.
    static void enter(QLineEdit* line, const char* text) {
        line->selectAll();
        QTest::keyClicks(line, QString::fromUtf8(text));
        QTest::keyClick(line, Qt::Key_Return);
    }

    testing::WindowMachine machine;
    Model& model;
    FakeLoginStart loginStart;
    std::unique_ptr<SettingsWindow> window;
};

TEST_F(SettingsWindowTest, EverySwitchChangesItsSettingAndShowsChangesMadeElsewhere) {
    const struct {
        Page page;
        const char* text;
        bool (Prefs::*get)() const;
        void (Prefs::*set)(bool);
    } cases[] = {
        {Page::general, "&Show hidden and system files", &Prefs::showJunk, &Prefs::setShowJunk},
        {Page::general, "Ask before moving to the &Trash", &Prefs::confirmTrash,
         &Prefs::setConfirmTrash},
        {Page::sources, "&Offer disk images and virtual drives", &Prefs::indexDiskImages,
         &Prefs::setIndexDiskImages},
        {Page::offline, "&Keep catalogs of unplugged drives searchable", &Prefs::keepOffline,
         &Prefs::setKeepOffline},
    };

    for (const auto& [page, text, get, set] : cases) {
        SCOPED_TRACE(text);
        open(page);
        auto* box = withText<QCheckBox>(this->page(), text);
        ASSERT_TRUE(box);
        const bool before = (machine.prefs.*get)();
        EXPECT_EQ(box->isChecked(), before);
        box->click();
        EXPECT_EQ((machine.prefs.*get)(), !before);
        (machine.prefs.*set)(before);
        EXPECT_EQ(box->isChecked(), before);
    }
    open(Page::general);
    withText<QCheckBox>(page(), "&Show hidden and system files")->click();
    EXPECT_TRUE(model.searchState().showJunk);
}

TEST_F(SettingsWindowTest, EveryChoiceChangesItsSettingAndShowsChangesMadeElsewhere) {
    const struct {
        const char *label, *key, *first;
        Texts stored; ///< by going down the list, in JSON
    } cases[] = {
        {"&Hot key", "hotkeyPreset", "Alt+Space", {"1", "2", "3"}},
        {"&Appearance", "appearance", "As the system", {"\"light\"", "\"dark\""}},
        {"&Kind column", "kindStyle", "Symbol and words", {"\"icons\"", "\"words\""}},
        {"&Language", "language", "System language", {"\"en\"", "\"de\""}},
    };

    open(Page::general);
    for (const auto& [label, key, first, stored] : cases) {
        SCOPED_TRACE(label);
        auto* box = labelled<QComboBox>(label);
        ASSERT_TRUE(box);
        EXPECT_EQ(box->currentText(), first);
        for (const std::string& value : stored) {
            QTest::keyClick(box, Qt::Key_Down);
            EXPECT_EQ(machine.settings.values()[key].dump(), value);
        }
    }
    machine.prefs.setHotKey(0);
    machine.prefs.setAppearance("system");
    machine.prefs.setLanguage("system");
    for (const char* label : {"&Hot key", "&Appearance", "&Language"})
        EXPECT_EQ(labelled<QComboBox>(label)->currentIndex(), 0) << label;

    window->setHotKeyProblem("Taken.");
    EXPECT_TRUE(withText<QLabel>(page(), "Taken."));
    window->setHotKeyProblem("");
    EXPECT_FALSE(withText<QLabel>(page(), "Taken."));
}

TEST_F(SettingsWindowTest, LoginStartShowsWhatIsThereAndWhatCameOfIt) {
    loginStart.on = true;
    open(Page::general);
    auto* box = withText<QCheckBox>(page(), "Start Quarrydex when you log &in");
    ASSERT_TRUE(box);
    ASSERT_TRUE(comesTo([&] { return box->isChecked(); }));
    box->click();
    ASSERT_TRUE(comesTo([&] { return !loginStart.on; }));
    loginStart.refuses = true;
    box->click();
    EXPECT_TRUE(
        comesTo([&] { return withText<QLabel>(page(), "This could not be stored.") != nullptr; }));
    EXPECT_FALSE(box->isChecked());
}

TEST_F(SettingsWindowTest, TypeFilterSaysWhatItUnderstoodAndStoresNothingElse) {
    open(Page::fileTypes);
    auto* line = labelled<QLineEdit>("Index only certain file types (advanced)");
    ASSERT_TRUE(line);

    const struct {
        const char *typed, *said, *stored;
    } cases[] = {
        {"*.mp3;.FLAC",
         "2 file types are indexed; folders always. Applies to all drives and triggers a new scan.",
         "*.mp3;*.flac"},
        {"*.mp3;a*b", "Not understood (only *.extension, separated by semicolons): a*b",
         "*.mp3;*.flac"},
        {"", "All files are indexed.", ""},
    };

    for (const auto& [typed, said, stored] : cases) {
        SCOPED_TRACE(typed);
        line->clear();
        QTest::keyClicks(line, typed);
        EXPECT_TRUE(withText<QLabel>(page(), said));
        QTest::keyClick(line, Qt::Key_Return);
        EXPECT_EQ(machine.prefs.includeOnly(), stored);
    }
    machine.prefs.setIncludeOnly("*.txt");
    EXPECT_EQ(line->text(), "*.txt");
    QTest::keyClicks(line, ";*.md");
    window->close(); // what was typed is not lost
    EXPECT_EQ(machine.prefs.includeOnly(), "*.txt;*.md");
}

TEST_F(SettingsWindowTest, SourcesShowWhatIsIndexedAndApplyAtOnce) {
    machine.prefs.setConfigured(true);
    model.startScans();
    open(Page::sources);
    const auto* name = withText<QLabel>(page(), "Stick");
    ASSERT_TRUE(name);
    QWidget& card = *name->parentWidget();
    EXPECT_TRUE(withText<QRadioButton>(card, "Do not index this drive")->isChecked())
        << "nobody decided about it";
    ASSERT_TRUE(press(card, "The whole drive"));
    EXPECT_TRUE(machine.prefs.sources()["STICK"].enabled);
    EXPECT_FALSE(machine.prefs.isKnown("SYSTEM")) << "a card that was not touched";
    EXPECT_TRUE(comesTo([&] { return model.volumes().size() == 1 && !model.anyScanning(); }));
    machine.prefs.setSource("STICK", {.enabled = true, .whole = false, .folders = {}});
    EXPECT_TRUE(withText<QRadioButton>(card, "Selected folders only")->isChecked());
}

TEST_F(SettingsWindowTest, ExcludedFoldersAreStoredAndRescanned) {
    machine.tree.folder("ann/Private");
    machine.prefs.setConfigured(true);
    machine.prefs.setSource("STICK", {});
    model.startScans();
    open(Page::exclusions);
    machine.picked = machine.home + "/Private";
    ASSERT_TRUE(press(page(), "Add folder …"));
    const Texts expected = {machine.home + "/Private"};
    EXPECT_TRUE(comesTo([&] { return machine.prefs.excludedPaths() == expected; }));
    EXPECT_TRUE(comesTo([&] {
        return model.volumes().size() == 1 && model.volumes()[0]->plan.excludes == expected;
    }));
    auto* list = page().findChild<QListWidget*>();
    list->setCurrentRow(0);
    ASSERT_TRUE(press(page(), "Remove"));
    EXPECT_TRUE(machine.prefs.excludedPaths().empty());
    machine.prefs.setExcludedPaths({"/bad\xFF"});
    EXPECT_EQ(list->item(0)->text(), QString("/bad") + QChar(QChar::ReplacementCharacter));
    EXPECT_TRUE(comesTo([&] { return !model.anyScanning(); }));
}

TEST_F(SettingsWindowTest, CategoriesAreAddedNamedOrderedRemovedAndRestored) {
    open(Page::categories);
    auto* list = page().findChild<QListWidget*>();
    const auto shown = [&] {
        QStringList out;
        for (int row = 0; row < list->count(); ++row)
            out += list->item(row)->text();
        return out.join(' ').toStdString();
    };
    const auto name = [&](const char* text) { enter(labelled<QLineEdit>("N&ame"), text); };
    const std::string defaults = "Audio Video Images Documents Archives";
    EXPECT_EQ(shown(), defaults);
    ASSERT_TRUE(press(page(), "&New category"));
    name("Code");
    enter(labelled<QLineEdit>("File t&ypes"), "*.cpp;h");
    enter(labelled<QLineEdit>("File t&ypes"), "a*b");
    QTest::keyClick(labelled<QComboBox>("&Symbol"), Qt::Key_Down);
    EXPECT_EQ(machine.prefs.categories().back(), (Category{"own-1", "Code", "globe", "*.cpp;*.h"}));

    ASSERT_TRUE(press(page(), "Move &up"));
    EXPECT_EQ(shown(), "Audio Video Images Documents Code Archives");
    list->setCurrentRow(0);
    EXPECT_FALSE(press(page(), "Move &up"));
    ASSERT_TRUE(press(page(), "Remove"));
    name("Film");
    EXPECT_EQ(machine.prefs.categories()[0].name, "Film");
    name("Video"); // its own name is not stored
    EXPECT_EQ(machine.prefs.categories()[0].name, "");
    ASSERT_TRUE(press(page(), "Add “Folders”"));
    EXPECT_FALSE(press(page(), "Add “Folders”"));
    EXPECT_EQ(shown(), "Video Images Documents Code Archives Folders");
    EXPECT_EQ(list->currentRow(), 5);

    for (const char* choice : {"Cancel", "Restore"}) {
        EXPECT_EQ(list->count(), 6);
        ASSERT_TRUE(press(page(), "Restore defaults …"));
        answer(choice);
    }
    EXPECT_EQ(machine.prefs.categories(), Category::defaults());
    EXPECT_EQ(shown(), defaults);
}

TEST_F(SettingsWindowTest, ForgettingACatalogueAsksFirst) {
    machine.tree.file("data/AWAY.idx", 2000);
    machine.tree.file("data/AWAY.aud", 1000);
    model.addVolume("/media/away", std::make_shared<VolumeIndex>(100, 10'000));
    const std::shared_ptr<VolumeState> volume = model.volumes()[0];
    volume->offline = true;
    volume->snapshotPath = machine.tree.path("data/AWAY.idx");
    open(Page::offline);
    auto* list = page().findChild<QTreeWidget*>();
    ASSERT_EQ(list->topLevelItemCount(), 1);
    EXPECT_EQ(list->topLevelItem(0)->text(0), "away");
    EXPECT_TRUE(comesTo([&] { return list->topLevelItem(0)->text(3) == "3.00 kB"; }));
    EXPECT_FALSE(press(page(), "&Forget …")) << "none is selected";
    list->setCurrentItem(list->topLevelItem(0));
    ASSERT_TRUE(press(page(), "&Forget …"));
    EXPECT_TRUE(
        window->findChild<QMessageBox*>()->text().startsWith("Delete the catalog of “away"));
    answer("Cancel");
    EXPECT_EQ(model.volumes().size(), 1U);
    QTest::keyClick(list, Qt::Key_Delete);
    answer("Delete catalog");
    EXPECT_TRUE(model.volumes().empty());
    EXPECT_EQ(list->topLevelItemCount(), 0);
    EXPECT_TRUE(comesTo([&] { return !std::filesystem::exists(volume->snapshotPath); }));
}

TEST_F(SettingsWindowTest, TabReachesEveryControlOfEveryPage) {
    model.addVolume("/media/away", std::make_shared<VolumeIndex>(100, 10'000));
    model.volumes()[0]->offline = true;
    open(Page::general);
    for (const Page one : {Page::general, Page::sources, Page::exclusions, Page::fileTypes,
                           Page::categories, Page::offline}) {
        SCOPED_TRACE(static_cast<int>(one));
        window->showPage(one);
        auto* sections = window->findChild<QListWidget*>();
        sections->setFocus();
        std::set<QWidget*> reached;
        for (int presses = 0; presses < 100; ++presses) {
            QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
            reached.insert(window->focusWidget());
        }
        EXPECT_TRUE(reached.contains(sections));
        for (QWidget* widget : page().findChildren<QWidget*>()) {
            const auto* radio = qobject_cast<QRadioButton*>(widget);
            const bool isStop = widget->isVisible() && widget->isEnabled() &&
                                (widget->focusPolicy() & Qt::TabFocus) != 0 &&
                                widget->focusProxy() == nullptr &&
                                (radio == nullptr || radio->isChecked()); // arrows reach the others
            EXPECT_TRUE(!isStop || reached.contains(widget))
                << widget->metaObject()->className() << " "
                << widget->property("text").toString().toStdString();
        }
    }
}

TEST_F(SettingsWindowTest, LanguageChangeRenewsEveryText) {
    Lang::shared().install("de", {{"{app} Settings", "{app}-Einstellungen"},
                                  {"General", "Allgemein"},
                                  {"&Hot key", "&Tastenkürzel"},
                                  {"The whole drive", "Das ganze Laufwerk"},
                                  {"Add folder …", "Ordner hinzufügen …"}});
    open(Page::general);
    machine.prefs.setLanguage("de");
    QEvent change(QEvent::LanguageChange);
    QApplication::sendEvent(window.get(), &change);
    EXPECT_EQ(window->windowTitle(), "Quarrydex-Einstellungen");
    EXPECT_EQ(window->findChild<QListWidget*>()->item(0)->text(), "Allgemein");
    EXPECT_TRUE(labelled<QComboBox>("&Tastenkürzel"));
    window->showPage(Page::sources);
    EXPECT_TRUE(withText<QRadioButton>(page(), "Das ganze Laufwerk"));
    window->showPage(Page::exclusions);
    EXPECT_TRUE(withText<QPushButton>(page(), "Ordner hinzufügen …"));
}

} // namespace
} // namespace quarrydex
