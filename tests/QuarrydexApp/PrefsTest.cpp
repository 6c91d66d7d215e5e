#include "QuarrydexApp/prefs/Prefs.h"

#include "QuarrydexCore/text/Lang.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/support/TempTree.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quarrydex {
namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

/// Preferences over a home folder that a test fills.
struct Home {
    TempTree tree;
    std::string place = std::filesystem::canonical(tree.path()).string();
    FakeAppFolders folders{place + "/ann"};
    FakeMountTable mounts{{aMount(1, "/")}};
    FakeSettings settings;
    Prefs prefs{settings, folders, mounts};
};

// --- One run and one language -------------------------------------------------------------------

TEST(PrefsTest, AnOverriddenKindStyleIsNeverStored) {
    Home home;
    home.prefs.setKindStyle("icons");
    home.prefs.overrideKindStyle("words");
    EXPECT_EQ(home.prefs.kindStyle(), "words");
    home.prefs.setShowJunk(true); // a write of the settings
    EXPECT_EQ(home.settings.values()["kindStyle"], "icons");
}

TEST(PrefsTest, TheChosenLanguageIsStoredAndTakesEffectAtOnce) {
    Home home;
    home.prefs.setLanguage("de");
    EXPECT_EQ(Lang::shared().code(), "de");
    EXPECT_EQ(home.settings.values()["language"], "de");
    home.prefs.setLanguage("system");
    EXPECT_EQ(Lang::shared().choice(), "system");
}

// --- Unset and damaged --------------------------------------------------------------------------

TEST(PrefsTest, DamagedValuesServeAsUnsetAndAreNotTouched) {
    const char* const wrong[] = {"7", "\"x\"", "[1]", "{\"x\":1}", "[[]]", "{\"\":[]}"};
    for (const char* value : wrong) {
        Json values;
        for (const char* key : {"categories", "hiddenVolumes", "sources", "sourcesConfigured",
                                "excludedPaths", "indexDiskImages", "keepOffline", "columnSets",
                                "confirmTrash", "showJunk", "onboardingDismissed"})
            values[key] = Json::parse(value);
        values["includeOnly"] = values["appearance"] = values["hotkeyPreset"] = true;
        FakeSettings settings(values);
        Home home;
        const Prefs prefs(settings, home.folders, home.mounts);
        EXPECT_EQ(prefs.categories(), Category::defaults()) << value;
        EXPECT_TRUE(prefs.keepOffline() && prefs.confirmTrash() && !prefs.showJunk()) << value;
        EXPECT_TRUE(prefs.hiddenVolumes().empty() && prefs.excludedPaths().empty()) << value;
        EXPECT_FALSE(prefs.isKnown("x") || prefs.configured()) << value;
        EXPECT_EQ(prefs.visibleColumns("docs"), ColumnSets::defaults("docs")) << value;
        EXPECT_EQ(prefs.includeOnly(), "");
        EXPECT_EQ(prefs.appearance(), "system");
        EXPECT_EQ(prefs.hotKey().id, 0);
        EXPECT_EQ(settings.values(), values) << value;
    }
}

TEST(PrefsTest, EverySetterStoresUnderItsKeyAndTells) {
    Home home;
    Prefs& prefs = home.prefs;
    Json told;
    const auto subscription =
        prefs.observe([&](std::string_view key) { told[std::string(key)] = prefs.showJunk(); });
    prefs.setConfigured(true);
    prefs.setIncludeOnly("*.mp3");
    prefs.setHiddenVolumes({"A"});
    prefs.setExcludedPaths({"/x"});
    prefs.setIndexDiskImages(true);
    prefs.setKeepOffline(false);
    prefs.setConfirmTrash(false);
    prefs.setHotKey(3);
    prefs.setAppearance("dark");
    prefs.setKindStyle("words");
    prefs.setShowJunk(true);
    prefs.setOnboardingDismissed(true);
    prefs.setVisibleColumns({"name", "path"}, "docs");
    EXPECT_EQ(home.settings.values(), Json::parse(R"({
        "sourcesConfigured": true, "includeOnly": "*.mp3", "hiddenVolumes": ["A"],
        "excludedPaths": ["/x"], "indexDiskImages": true, "keepOffline": false,
        "confirmTrash": false, "hotkeyPreset": 3, "appearance": "dark", "kindStyle": "words",
        "showJunk": true, "onboardingDismissed": true, "columnSets": {"docs": ["name", "path"]}})"));
    EXPECT_EQ(told.size(), 13U);
    EXPECT_EQ(told["showJunk"], true) << "told before it is so";
    EXPECT_TRUE(prefs.configured() && prefs.indexDiskImages() && prefs.onboardingDismissed());
    EXPECT_FALSE(prefs.keepOffline() || prefs.confirmTrash());
    EXPECT_EQ(prefs.includeOnly() + prefs.appearance() + prefs.kindStyle(), "*.mp3darkwords");
    EXPECT_EQ(prefs.excludedPaths(), Texts{"/x"});
}

TEST(PrefsTest, ObserverMayLeaveWhileItIsCalled) {
    auto home = std::make_unique<Home>();
    int first = 0, second = 0;
    std::unique_ptr<Subscription> leaver, other;
    leaver = home->prefs.observe([&](std::string_view) {
        ++first;
        leaver.reset();
        other.reset();
    });
    other = home->prefs.observe([&](std::string_view) { ++second; });
    home->prefs.setShowJunk(true);
    home->prefs.setShowJunk(false);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    const auto outliving = home->prefs.observe([](std::string_view) {});
    home.reset();
}

// --- Sources ------------------------------------------------------------------------------------

TEST(PrefsTest, UnknownDriveGetsItsDefault) {
    Home home;
    for (const char* name : {"ann/Music", "ann/Desktop", "ann/Pictures"})
        home.tree.folder(name);
    home.tree.file("ann/Movies"); // no folder
    const std::string below = home.place.substr(1) + "/ann/";
    EXPECT_EQ(home.prefs.source("disk", {.internal = true}),
              (SourceConfig{.enabled = true,
                            .whole = false,
                            .folders = {below + "Desktop", below + "Music", below + "Pictures"}}));
    EXPECT_EQ(home.prefs.source("stick", {.internal = false, .root = "/media/ann/X"}),
              (SourceConfig{.enabled = true, .whole = true, .folders = {}}));
    EXPECT_FALSE(home.prefs.isKnown("disk") || home.prefs.isKnown("stick"));
}

TEST(PrefsTest, PersonalFoldersBelongToTheDriveTheyLieOn) {
    Home home;
    for (const char* name : {"ann/Music", "ann/Documents", "ann/Pictures"})
        home.tree.folder(name);
    home.mounts.set({aMount(1, "/"), aMount(2, home.place), aMount(3, home.place + "/ann/Music")});
    const auto foldersOf = [&](const std::string& root) {
        return home.prefs.source("x", {.internal = true, .root = root}).folders;
    };
    EXPECT_EQ(foldersOf(home.place), (Texts{"ann/Documents", "ann/Pictures"}));
    EXPECT_EQ(foldersOf(home.place + "/ann/Music"), Texts{""}); // all of it
    EXPECT_EQ(foldersOf("/"), Texts{});
    EXPECT_EQ(SourceConfig({true, false, {""}}).scopes(home.place + "/ann/Music"),
              Texts{home.place + "/ann/Music"});
}

TEST(PrefsTest, PersonalFoldersAreRealAndCountedOnce) {
    Home home;
    for (const char* name :
         {"ann/Documents/Musik/Alt", "ann/Downloads", "ann/Bilder", "elsewhere/Videos"})
        home.tree.folder(name);
    home.tree.link("ann/Music", "Documents/Musik"); // inside another one
    home.tree.link("ann/Pictures", "Bilder");
    home.tree.link("ann/Movies", home.tree.path("elsewhere/Videos"));
    home.tree.link("ann/Desktop", "."); // the home folder itself
    home.folders.named = {home.place + "/ann/Bilder", home.place + "/elsewhere",
                          home.place + "/ann/Documents",
                          home.place, // holds the home folder
                          home.place + "/ann/missing"};
    EXPECT_EQ(SourceConfig::personalFolders(home.folders),
              (Texts{home.place + "/ann/Documents", home.place + "/ann/Downloads",
                     home.place + "/ann/Bilder", home.place + "/elsewhere"}));
}

TEST(PrefsTest, ScopesAreJoinedToTheRoot) {
    const struct {
        const char* root;
        Texts folders, scopes;
    } cases[] = {
        {"/", {"home/ann", "/srv/", "a//b/./c"}, {"/home/ann", "/srv", "/a/b/c"}},
        {"/media/X/", {"Music", "/Music", "Music/"}, {"/media/X/Music"}},
        {"/media/X", {"", "/"}, {"/media/X"}},
        {"/media/X", {"..", "a/../../b", "..a", "\xE9"}, {"/media/X/..a", "/media/X/\xE9"}},
        {"/media/X", {}, {}},
    };

    for (const auto& c : cases) {
        EXPECT_EQ((SourceConfig{true, false, c.folders}).scopes(c.root), c.scopes) << c.root;
        const std::string root = SourceConfig{}.scopes(c.root).at(0); // the whole drive
        EXPECT_EQ(root, std::string(c.root) == "/media/X/" ? "/media/X" : c.root);
        for (const std::string& scope : c.scopes) {
            const auto folder = SourceConfig::relative(root, scope);
            ASSERT_TRUE(folder) << scope;
            EXPECT_EQ((SourceConfig{true, false, {*folder}}).scopes(c.root), Texts{scope});
        }
    }
    EXPECT_FALSE(SourceConfig::relative("/media/X", "/media/XY"));
    EXPECT_FALSE(SourceConfig::relative("/media/X", "/media"));
}

TEST(PrefsTest, ChoicesOfDrivesAreKeptOneByOne) {
    Home home;
    home.settings.update("sources", [](Json& stored) {
        stored = Json::parse(R"({"later":{"enabled":true,"whole":true,"depth":3},"odd":[]})");
    });
    const SourceConfig chosen{.enabled = true, .whole = false, .folders = {"M\xE9x", "b"}};
    const SourceConfig ignored{.enabled = false, .whole = true, .folders = {}};
    home.prefs.setSources({{"a", chosen}, {"b", ignored}});
    home.prefs.setSource("later", ignored);
    EXPECT_EQ(home.prefs.source("a", {.internal = true}), chosen);
    EXPECT_EQ(home.prefs.source("b", {}), ignored);
    EXPECT_FALSE(home.prefs.isKnown("odd"));
    EXPECT_EQ(home.settings.values()["sources"], Json::parse(R"({
        "a": {"enabled": true, "whole": false, "folders": [{"percentEncoded": "M%E9x"}, "b"]},
        "b": {"enabled": false, "whole": true, "folders": []},
        "later": {"enabled": false, "whole": true, "folders": [], "depth": 3}, "odd": []})"));
    home.prefs.forgetSource("a");
    EXPECT_EQ(home.prefs.sources().size(), 2U);
}

TEST(PrefsTest, SourceThatIsNoRecordIsUnset) {
    for (const char* text :
         {"{}", "[]", "null", R"({"enabled":true})", R"({"whole":false})",
          R"({"enabled":1,"whole":true})", R"({"enabled":true,"whole":true,"folders":"a"})",
          R"({"enabled":true,"whole":false,"folders":[1]})"})
        EXPECT_FALSE(SourceConfig::fromJson(Json::parse(text))) << text;
    EXPECT_EQ(SourceConfig::fromJson(Json::parse(R"({"enabled":false,"whole":true})")),
              (SourceConfig{.enabled = false, .whole = true, .folders = {}}));
}

TEST(PrefsTest, DrivesAreHiddenOneByOne) {
    Home home;
    home.prefs.setHidden("a", true);
    home.prefs.setHidden("b", true);
    home.prefs.setHidden("a", true);
    EXPECT_EQ(home.prefs.hiddenVolumes(), (Texts{"b", "a"}));
    home.prefs.setHidden("b", false);
    EXPECT_EQ(home.prefs.hiddenVolumes(), Texts{"a"});
}

// --- Categories ---------------------------------------------------------------------------------

TEST(PrefsTest, CategoriesComeBackAndCanBeReset) {
    Home home;
    const std::vector<Category> own = {{"x", "Scores", "music.note.list", "*.mscz"},
                                       Category::defaults()[3]};
    home.prefs.setCategories(own);
    EXPECT_EQ(home.prefs.categories(), own);
    home.prefs.setCategories({});
    EXPECT_TRUE(home.prefs.categories().empty()); // nothing but what the user wants
    home.prefs.resetCategories();
    EXPECT_EQ(home.prefs.categories(), Category::defaults());
    home.settings.update("categories", [](Json& stored) { stored[1] = 7; });
    EXPECT_EQ(home.prefs.categories().size(), 4U); // one that is damaged costs only itself
}

TEST(PrefsTest, BuiltInCategoriesAreNamedByTheirId) {
    const struct {
        const char *id, *name, *shown;
    } cases[] = {
        {"folders", "", "Folders"},     {"docs", "", "Documents"},    {"x", "", ""},
        {"images", "Bilder", "Images"}, {"images", "Scans", "Scans"}, {"x", "Audio", "Audio"}};

    for (const auto& c : cases)
        EXPECT_EQ((Category{c.id, c.name, "", ""}).displayName(), c.shown) << c.id << ' ' << c.name;
    Json stored = Category::defaults()[2].json();
    stored["name"] = "Bilder"; // as an earlier version stored it
    EXPECT_EQ(Category::fromJson(stored), Category::defaults()[2]);
}

TEST(PrefsTest, ChipAddsItsTermToTheQuery) {
    EXPECT_EQ((Category{"folders", "", "", "*.x"}).term(), (Term{false, preds::Kind{true}, false}));
    EXPECT_EQ((Category{"x", "", "", "*.MP3;flac; *.mp3"}).term(),
              (Term{false, preds::Ext{{"mp3", "flac"}}, false}));
}

// --- Columns ------------------------------------------------------------------------------------

TEST(PrefsTest, NameIsAlwaysAmongTheColumnsAndOnlyChangedListsAreStored) {
    FakeSettings settings(Json::parse(R"({"columnSets": {
        "audio": ["path", "artist"], "video": [], "images": ["size", "name"], "docs": "name"}})"));
    ColumnSets sets(settings);
    EXPECT_EQ(sets.visible("audio"), (Texts{"name", "path", "artist"}));
    EXPECT_EQ(sets.visible("video"), Texts{"name"});
    EXPECT_EQ(sets.visible("images"), (Texts{"size", "name"}));
    EXPECT_EQ(sets.visible("docs"), ColumnSets::defaults("docs"));

    FakeSettings fresh;
    ColumnSets unchanged(fresh);
    unchanged.set(ColumnSets::defaults("audio"), "audio");
    EXPECT_TRUE(fresh.values().empty());
    unchanged.set({"bpm"}, "audio");
    EXPECT_EQ(fresh.values(), Json::parse(R"({"columnSets":{"audio":["name","bpm"]}})"));
}

} // namespace
} // namespace quarrydex
