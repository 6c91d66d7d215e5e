#include "QuarrydexApp/windows/SourceChooser.h"

#include "tests/support/EventLoop.h"
#include "tests/support/WidgetsApplication.h"
#include "tests/support/WindowMachine.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::press;
using testing::withText;
using Json = nlohmann::json;

constexpr const char* noFolder = "No folder chosen: this drive is not indexed.";

class SourceChooserTest : public ::testing::Test {
  protected:
    ~SourceChooserTest() override { waitForDrives(); } // which are asked through the tables

    void open() {
        if (!machine.model)
            machine.makeModel();
        chooser = std::make_unique<SourceChooser>(*machine.model, machine.prefs, nullptr,
                                                  machine.seams());
        QObject::connect(chooser.get(), &SourceChooser::accepted, [this] { told += "accepted "; });
        QObject::connect(chooser.get(), &SourceChooser::finished,
                         [this](bool accepted) { told += accepted ? "yes" : "no"; });
        chooser->show();
        EXPECT_EQ(machine.settings.values(), before);
        EXPECT_TRUE(chooser->isBusy() && withText<QLabel>(*chooser, "Looking for drives …"));
        EXPECT_FALSE(press(*chooser, "Start indexing")) << "nothing to confirm yet";
        waitForDrives();
    }

    void waitForDrives() {
        EXPECT_TRUE(comesTo([&] { return !chooser || !chooser->isBusy(); }));
    }

    /// The card of a drive, by its name.
    QWidget* card(const char* drive) {
        auto* name = withText<QLabel>(*chooser, drive);
        return name == nullptr ? nullptr : name->parentWidget();
    }

    std::string chosenOn(const char* drive) {
        for (const auto* button : card(drive)->findChildren<QRadioButton*>())
            if (button->isChecked())
                return button->text().toStdString();
        return "";
    }

    /// A folder of the home folder, relative to the system drive.
    std::string inHome(const std::string& name) { return (machine.home + name).substr(1); }

    testing::WindowMachine machine;
    Json before = Json::object();
    std::unique_ptr<SourceChooser> chooser;
    std::string told;
};

TEST_F(SourceChooserTest, FirstRunOffersThePersonalFoldersThatExistAndWholeExternalDrives) {
    machine.tree.folder("ann/Music");
    machine.tree.folder("ann/Documents");
    open();
    EXPECT_EQ(chosenOn("System"), "Personal folders (recommended)");
    EXPECT_TRUE(withText<QLabel>(*card("System"), "Documents, Music"));
    EXPECT_EQ(chosenOn("Stick"), "The whole drive");
    ASSERT_TRUE(press(*chooser, "Start indexing"));
    EXPECT_EQ(told, "accepted yes");
    EXPECT_FALSE(chooser->isVisible());
    EXPECT_TRUE(machine.prefs.configured());
    EXPECT_EQ(machine.prefs.sources(),
              (Prefs::Sources{{"SYSTEM", {true, false, {inHome("/Documents"), inHome("/Music")}}},
                              {"STICK", {true, true, {}}}}));
}

TEST_F(SourceChooserTest, EveryChoiceIsStoredAsItSaysAndShownAgain) {
    const struct {
        const char *drive, *choice, *identity;
        SourceConfig stored;
    } cases[] = {
        {"System", "Selected folders only", "SYSTEM", {true, false, {}}},
        {"System", "Entire system disk including system folders", "SYSTEM", {true, true, {}}},
        {"Stick", "Selected folders only", "STICK", {true, false, {}}},
        {"Stick", "Do not index this drive", "STICK", {false, true, {}}},
        {"Stick", "The whole drive", "STICK", {true, true, {}}},
    };

    for (const auto& [drive, choice, identity, stored] : cases) {
        SCOPED_TRACE(choice);
        open();
        ASSERT_TRUE(press(*card(drive), choice));
        EXPECT_EQ(withText<QLabel>(*card(drive), noFolder) != nullptr,
                  std::string(choice) == "Selected folders only");
        chooser->accept();
        EXPECT_EQ(machine.prefs.sources()[identity], stored);
        before = machine.settings.values();
        open();
        EXPECT_EQ(chosenOn(drive), choice);
    }
}

TEST_F(SourceChooserTest, ChosenFoldersAreKeptByTheirRealPathsOnTheirOwnDrive) {
    machine.tree.folder("ann/Music/deep");
    machine.tree.folder("ann/Other");
    machine.tree.folder("mnt/data");
    machine.tree.link("ann/link", "Other");
    const std::string mnt = std::filesystem::canonical(machine.tree.path("mnt"));
    machine.mounts.set({aMount(1, "/"), aMount(2, "/media/stick"), aMount(3, mnt)});
    open();
    ASSERT_TRUE(press(*card("System"), "Selected folders only"));
    auto* list = card("System")->findChild<QListWidget*>();
    const std::string music = machine.home + "/Music", deep = music + "/deep";

    const struct {
        std::string picked;
        int listed;
        std::string said; ///< empty: nothing
    } cases[] = {
        {deep, 1, ""},
        {machine.home + "/link", 2, ""},
        {music, 2, ""}, // takes in what lies in it
        {deep, 2, "“" + deep + "” is in the list already, as a part of “" + music + "”."},
        {mnt + "/data", 2, "“" + mnt + "/data” does not lie on this drive."},
        {machine.home + "/gone", 2, "“" + machine.home + "/gone” cannot be found."},
        {"", 2, "The name of this folder is not valid UTF-8. Choose the folder that it lies in."},
    };

    for (const auto& [picked, listed, said] : cases) {
        SCOPED_TRACE(picked);
        machine.picked = picked;
        EXPECT_TRUE(press(*card("System"), "Add folder …"));
        const std::string last = picked == music ? "/ann/Music" : "";
        EXPECT_TRUE(comesTo([&, &listed = listed, &said = said] {
            return list->count() == listed &&
                   list->item(listed - 1)->text().toStdString().ends_with(last) &&
                   (said.empty() || withText<QLabel>(*card("System"), said.c_str()));
        }));
    }
    chooser->accept();
    EXPECT_EQ(machine.prefs.sources()["SYSTEM"].folders,
              (std::vector<std::string>{inHome("/Other"), inHome("/Music")}));

    before = machine.settings.values();
    open();
    list = card("System")->findChild<QListWidget*>();
    list->setCurrentRow(0);
    QTest::keyClick(list, Qt::Key_Delete);
    chooser->accept();
    EXPECT_EQ(machine.prefs.sources()["SYSTEM"].folders,
              (std::vector<std::string>{inHome("/Music")}));
}

TEST_F(SourceChooserTest, LeavingStoresNothing) {
    const std::function<void()> ways[] = {[&] { press(*chooser, "Cancel"); },
                                          [&] { chooser->close(); },
                                          [&] { QTest::keyClick(chooser.get(), Qt::Key_Escape); }};
    for (const auto& leave : ways) {
        open();
        press(*card("Stick"), "Do not index this drive");
        told.clear();
        leave();
        EXPECT_EQ(told, "no");
        EXPECT_FALSE(chooser->isVisible());
        EXPECT_TRUE(machine.settings.values().empty());
    }
}

TEST_F(SourceChooserTest, DrivePluggedInAppearsAndLeavesOtherCardsAlone) {
    open();
    press(*card("Stick"), "Do not index this drive");
    machine.disk.folders["/media/card"];
    machine.volumes.volumes["/media/card"] = {.uuid = "CARD", .label = "Card"};
    machine.mounts.set({aMount(1, "/"), aMount(2, "/media/stick"), aMount(3, "/media/card")});
    ASSERT_TRUE(comesTo([&] { return card("Card") != nullptr; }));
    EXPECT_EQ(chosenOn("Stick"), "Do not index this drive");
    machine.mounts.set({aMount(1, "/"), aMount(3, "/media/card")});
    ASSERT_TRUE(comesTo([&] { return card("Stick") == nullptr; }));
    chooser->accept();
    EXPECT_TRUE(machine.prefs.isKnown("CARD"));
    EXPECT_FALSE(machine.prefs.isKnown("STICK"));
}

TEST_F(SourceChooserTest, DriveThatIsAwayKeepsItsFoldersAndCanBeIgnored) {
    Model& model = machine.makeModel();
    model.addVolume("/media/away", std::make_shared<VolumeIndex>(100, 10'000));
    model.volumes()[0]->id = "AWAY";
    model.volumes()[0]->offline = true;
    machine.prefs.setSource("AWAY", {.enabled = true, .whole = false, .folders = {"Songs"}});
    before = machine.settings.values();
    open();
    ASSERT_TRUE(card("away"));
    EXPECT_EQ(chosenOn("away"), "Selected folders only");
    EXPECT_EQ(card("away")->findChild<QListWidget*>()->item(0)->text(), "/media/away/Songs");
    EXPECT_FALSE(press(*card("away"), "Add folder …")) << "there is nothing to look up";
    ASSERT_TRUE(press(*card("away"), "Do not index this drive"));
    chooser->accept();
    EXPECT_FALSE(machine.prefs.sources()["AWAY"].enabled);
}

} // namespace
} // namespace quarrydex
