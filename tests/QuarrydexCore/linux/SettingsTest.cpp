#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/linux/FileSettings.h"
#include "QuarrydexCore/platform/linux/LinuxAppFolders.h"

#include "tests/fakes/FakeSettings.h"
#include "tests/support/ScriptedOps.h"
#include "tests/support/TempTree.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>

namespace quarrydex {
namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

std::string contentOf(const std::string& path) {
    std::string text;
    EXPECT_EQ(readFile(path, 1 << 26, text), 0) << path;
    return text;
}

Texts namesIn(const std::string& folder) {
    Texts out;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        out.push_back(entry.path().filename().string());
    std::ranges::sort(out);
    return out;
}

// --- Values -------------------------------------------------------------------------------------

TEST(SettingsTest, ValueOfAnotherTypeIsUnset) {
    const struct {
        const char* json;
        std::optional<bool> boolean;
        std::optional<std::int64_t> integer;
        std::optional<std::string> text;
        std::optional<Texts> texts;
    } cases[] = {
        {"null", {}, {}, {}, {}},
        {"true", true, {}, {}, {}},
        {"0", {}, 0, {}, {}},
        {"-7", {}, -7, {}, {}},
        {"9223372036854775807", {}, std::numeric_limits<std::int64_t>::max(), {}, {}},
        {"9223372036854775808", {}, {}, {}, {}},
        {"1.0", {}, {}, {}, {}},
        {R"("")", {}, {}, "", {}},
        {R"("true")", {}, {}, "true", {}},
        {"[]", {}, {}, {}, Texts{}},
        {R"(["a","b"])", {}, {}, {}, Texts{"a", "b"}},
        {R"(["a",1])", {}, {}, {}, {}},
        {R"({"percentEncoded":"M%E9x%25"})", {}, {}, "M\xE9x%", {}},
        {R"({"percentEncoded":"M%E"})", {}, {}, {}, {}},
        {R"({"percentEncoded":"%-1"})", {}, {}, {}, {}},
        {R"({"percentEncoded":"a","more":1})", {}, {}, {}, {}},
        {R"({"other":"a"})", {}, {}, {}, {}},
    };

    for (const auto& c : cases) {
        const FakeSettings settings(Json::object({{"key", Json::parse(c.json)}}));
        EXPECT_EQ(settings.boolean("key"), c.boolean) << c.json;
        EXPECT_EQ(settings.integer("key"), c.integer) << c.json;
        EXPECT_EQ(settings.text("key"), c.text) << c.json;
        EXPECT_EQ(settings.texts("key"), c.texts) << c.json;
        EXPECT_EQ(settings.boolean("other"), std::nullopt);
    }
}

TEST(SettingsTest, EveryTextComesBackAsItWas) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    FakeSettings settings;
    for (const std::string& text : {std::string(), std::string("/home/ann/Müsik"), all,
                                    std::string("/M\xE9xico 100%"), std::string("\xED\xA0\x80")}) {
        settings.setText("text", text);
        settings.setTexts("texts", {text, "x"});
        const Json reread = Json::parse(settings.values().dump());
        EXPECT_EQ(FakeSettings(reread).text("text"), text);
        EXPECT_EQ(FakeSettings(reread).texts("texts"), (Texts{text, "x"}));
    }
    EXPECT_EQ(jsonOfText("/M\xE9xico 100%").dump(), R"({"percentEncoded":"/M%E9xico 100%25"})");
}

TEST(SettingsTest, OverrideHoldsForThisRunAndIsNotStored) {
    TempTree tree;
    const std::string path = tree.path("settings.json");
    FileSettings settings(path);
    settings.setText("kindStyle", "icons");
    settings.overrideText("kindStyle", "words");
    EXPECT_EQ(settings.text("kindStyle"), "words");
    settings.setText("kindStyle", "both"); // stored, and still overridden
    settings.setText("appearance", "dark");
    EXPECT_EQ(settings.text("kindStyle"), "words");
    EXPECT_EQ(FileSettings(path).text("kindStyle"), "both");
}

// --- The file -----------------------------------------------------------------------------------

TEST(SettingsTest, FileIsForPeople) {
    TempTree tree;
    const std::string path = tree.path("new/config/settings.json");
    FileSettings settings(path);
    EXPECT_EQ(settings.boolean("keepOffline"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(tree.path("new"))); // reading leaves nothing behind
    EXPECT_TRUE(settings.setTexts("excludedPaths", {"/home/ann/Müsik"}));
    EXPECT_TRUE(settings.setBoolean("confirmTrash", true));
    EXPECT_EQ(contentOf(path), "{\n"
                               "    \"confirmTrash\": true,\n"
                               "    \"excludedPaths\": [\n"
                               "        \"/home/ann/Müsik\"\n"
                               "    ]\n"
                               "}\n");

    struct stat st {};

    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777U, 0600U);
    ASSERT_EQ(::stat(tree.path("new").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777U, 0700U);
}

TEST(SettingsTest, WhatIsNotKnownSurvivesARewrite) {
    TempTree tree;
    tree.file("settings.json", std::string_view(R"({"later":{"a":[1,2.5,null,"é"]},"z":-1e3})"));
    FileSettings settings(tree.path("settings.json"));
    settings.setBoolean("showJunk", true);
    settings.remove("missing");
    EXPECT_EQ(Json::parse(contentOf(tree.path("settings.json"))),
              Json::parse(R"({"later":{"a":[1,2.5,null,"é"]},"showJunk":true,"z":-1e3})"));
    settings.remove("showJunk");
    EXPECT_EQ(Json::parse(contentOf(tree.path("settings.json"))),
              Json::parse(R"({"later":{"a":[1,2.5,null,"é"]},"z":-1e3})"));
}

TEST(SettingsTest, LinkToTheFileStays) {
    TempTree tree;
    tree.file("dotfiles/quarrydex.json", std::string_view(R"({"a":true})"));
    tree.link("settings.json", "dotfiles/quarrydex.json");
    FileSettings settings(tree.path("settings.json"));
    EXPECT_TRUE(settings.setBoolean("b", true));
    EXPECT_TRUE(std::filesystem::is_symlink(tree.path("settings.json")));
    EXPECT_EQ(Json::parse(contentOf(tree.path("dotfiles/quarrydex.json"))),
              Json::parse(R"({"a":true,"b":true})"));
}

// --- Several at once ----------------------------------------------------------------------------

TEST(SettingsTest, InstanceKeepsWhatAnotherOneStored) {
    TempTree tree;
    const std::string path = tree.path("settings.json");
    FileSettings one(path);
    FileSettings two(path);
    EXPECT_EQ(one.text("a"), std::nullopt); // both have read the file that is not there
    EXPECT_EQ(two.text("a"), std::nullopt);
    one.setText("a", "1");
    two.setText("b", "2");
    one.update("sources", [](Json& sources) { sources["disk"] = 1; });
    two.update("sources", [](Json& sources) { sources["stick"] = 2; });
    two.remove("a");
    one.setText("c", "3");
    EXPECT_EQ(Json::parse(contentOf(path)),
              Json::parse(R"({"b":"2","c":"3","sources":{"disk":1,"stick":2}})"));
    EXPECT_EQ(one.text("b"), "2"); // seen since its own last write
    EXPECT_EQ(one.text("a"), std::nullopt);
}

TEST(SettingsTest, NoSettingIsLostWhenManyWrite) {
    TempTree tree;
    const std::string path = tree.path("settings.json");
    constexpr int writers = 4, rounds = 10;
    const auto increment = [](Json& value) { value = value.is_null() ? 1 : value.get<int>() + 1; };
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer)
        threads.emplace_back([&, writer] {
            FileSettings settings(path);
            for (int round = 0; round < rounds; ++round) {
                const std::string key = std::to_string(writer) + "." + std::to_string(round);
                settings.setInteger(key, round);   // who waits too long for the others makes up for
                settings.update("all", increment); // it later
                EXPECT_EQ(settings.integer(key), round);
            }
            while (!settings.setBoolean("done", true)) {
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    const Json stored = Json::parse(contentOf(path));
    EXPECT_EQ(stored.size(), writers * rounds + 2U);
    EXPECT_EQ(stored["all"], writers * rounds);
}

TEST(SettingsTest, LockThatIsNotGivenUpHoldsNobodyForEver) {
    TempTree tree;
    const std::string path = tree.path("settings.json");
    FileSettings settings(path);
    {
        const Fd other(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
        EXPECT_FALSE(settings.setText("a", "1"));
        EXPECT_EQ(settings.text("a"), "1");
    }
    EXPECT_TRUE(settings.setText("b", "2"));
    EXPECT_EQ(Json::parse(contentOf(path)), Json::parse(R"({"a":"1","b":"2"})"));
    FileSettings(path).setText("a", "another's");
    EXPECT_TRUE(settings.setText("c", "3")); // what was made up for is not stored again
    EXPECT_EQ(FileSettings(path).text("a"), "another's");
}

// --- Damage and failure -------------------------------------------------------------------------

TEST(SettingsTest, DamagedFileIsPutAsideWhole) {
    const std::string good = R"({"keepOffline":false,"x":["é",{"y":1}]})";
    Texts damaged = {"null",
                     "[]",
                     "7",
                     good + "}",
                     "\xFF\xFE",
                     R"({"a":1e999})",
                     R"({"a":"\ud800"})",
                     R"({"a":)" + std::string(70, '[') + std::string(70, ']') + "}",
                     std::string(200'000, '['),
                     std::string("{\"a\":1}\0", 8)};
    for (std::size_t size = 0; size < good.size(); ++size)
        damaged.push_back(good.substr(0, size));

    for (const std::string& text : damaged) {
        TempTree tree;
        const std::string path = tree.path("settings.json");
        for (int number = 1; number <= 2; ++number) {
            tree.file("settings.json", std::string_view(text));
            FileSettings settings(path);
            const std::string aside =
                tree.path(number == 1 ? "settings.damaged.json" : "settings.damaged-2.json");
            EXPECT_EQ(settings.boolean("keepOffline"), std::nullopt) << text.substr(0, 80);
            EXPECT_EQ(settings.damagedCopy(), aside);
            EXPECT_EQ(contentOf(aside), text);
            EXPECT_TRUE(settings.setBoolean("keepOffline", false));
            EXPECT_EQ(FileSettings(path).boolean("keepOffline"), false);
            EXPECT_EQ(FileSettings(path).damagedCopy(), "");
        }
    }
}

TEST(SettingsTest, FileDamagedLaterIsPutAsideToo) {
    TempTree tree;
    const std::string path = tree.path("settings.json");
    FileSettings settings(path);
    settings.setText("a", "1");
    tree.file("settings.json", std::string_view("{broken"));
    EXPECT_TRUE(settings.setText("b", "2"));
    EXPECT_EQ(contentOf(tree.path("settings.damaged.json")), "{broken");
    EXPECT_EQ(Json::parse(contentOf(path)), Json::parse(R"({"b":"2"})"));
}

TEST(SettingsTest, WhatCannotBeReadIsNotReplaced) {
    for (const bool isFolder : {true, false}) {
        TempTree tree;
        const std::string path = tree.path("settings.json");
        if (isFolder)
            tree.folder("settings.json");
        else
            tree.file("settings.json", std::size_t{17} << 20); // more than settings can be
        FileSettings settings(path);
        EXPECT_EQ(settings.text("a"), std::nullopt);
        EXPECT_FALSE(settings.setText("a", "1"));
        EXPECT_FALSE(settings.setText("b", "2"));
        EXPECT_FALSE(settings.remove("a"));
        EXPECT_EQ(settings.text("a"), std::nullopt);
        EXPECT_EQ(settings.text("b"), "2");
        EXPECT_EQ(namesIn(tree.path()), (Texts{"settings.json", "settings.json.lock"}));
        EXPECT_TRUE(isFolder || std::filesystem::file_size(path) == std::size_t{17} << 20);

        tree.remove("settings.json");
        tree.file("settings.json", std::string_view(R"({"a":"old","z":"9"})"));
        EXPECT_TRUE(settings.setText("c", "3"));
        EXPECT_EQ(Json::parse(contentOf(path)), Json::parse(R"({"b":"2","c":"3","z":"9"})"));
    }
}

TEST(SettingsTest, FailedWriteLeavesTheOldFileAndIsMadeUpFor) {
    const std::string old = R"({"a":"old"})";
    bool hasSucceeded = false;
    for (int failing = 1; !hasSucceeded; ++failing) {
        TempTree tree;
        const std::string path = tree.path("settings.json");
        tree.file("settings.json", std::string_view(old));
        FileSettings settings(path);
        {
            testing::ScriptedOps ops;
            ops.before = [&](int call) -> std::optional<int> {
                errno = ENOSPC;
                return call == failing ? std::optional(-1) : std::nullopt;
            };
            hasSucceeded = settings.setText("a", "new");
            ASSERT_EQ(hasSucceeded, ops.calls < failing) << failing;
        }
        EXPECT_EQ(settings.text("a"), "new") << failing;
        EXPECT_EQ(namesIn(tree.path()), (Texts{"settings.json", "settings.json.lock"})) << failing;
        if (!hasSucceeded) {
            EXPECT_EQ(contentOf(path), old) << failing;
        }
        EXPECT_TRUE(settings.setText("b", "2")) << failing;
        EXPECT_EQ(Json::parse(contentOf(path)), Json::parse(R"({"a":"new","b":"2"})")) << failing;
        ASSERT_LT(failing, 20);
    }
}

// --- Folders ------------------------------------------------------------------------------------

LinuxAppFolders foldersWith(const std::map<std::string, std::string>& variables) {
    return LinuxAppFolders([&](const char* name) {
        const auto found = variables.find(name);
        return found == variables.end() ? std::string() : found->second;
    });
}

TEST(SettingsTest, FoldersFollowTheVariables) {
    const auto usual = foldersWith({{"HOME", "/h/ann/"}, {"XDG_RUNTIME_DIR", "relative"}});
    EXPECT_EQ(usual.home(), "/h/ann");
    EXPECT_EQ(usual.data(), "/h/ann/.local/share/quarrydex");
    EXPECT_EQ(usual.config(), "/h/ann/.config/quarrydex");
    EXPECT_TRUE(usual.runtime().starts_with("/run/user/") || usual.runtime() == usual.data());

    const auto named = foldersWith({{"HOME", "/h/ann"},
                                    {"XDG_DATA_HOME", "/d/"},
                                    {"XDG_CONFIG_HOME", "relative"},
                                    {"XDG_RUNTIME_DIR", "/r"}});
    EXPECT_EQ(named.data(), "/d/quarrydex");
    EXPECT_EQ(named.config(), "/h/ann/.config/quarrydex"); // relative ones are not valid
    EXPECT_EQ(named.runtime(), "/r/quarrydex");

    EXPECT_EQ(foldersWith({{"HOME", "/"}}).config(), "/.config/quarrydex");
    EXPECT_TRUE(foldersWith({}).home().starts_with('/')); // from the user database
}

TEST(SettingsTest, DesktopNamesItsFolders) {
    const struct {
        const char* text;
        Texts folders;
    } cases[] = {
        {"", {}},
        {"XDG_MUSIC_DIR=\"$HOME/Musik\"\nXDG_DESKTOP_DIR=\"/data/Tisch/\"",
         {"/data/Tisch", "/h/Musik"}},
        {"# XDG_MUSIC_DIR=\"$HOME/No\"\n \tXDG_MUSIC_DIR=\"$HOME/a\"\nXDG_MUSIC_DIR=\"$HOME/b\"",
         {"/h/b"}},
        {"XDG_MUSIC_DIR=\"$HOME/\"\nXDG_VIDEOS_DIR=\"$HOME\"\nXDG_DOCUMENTS_DIR=\"/h//\"", {}},
        {"XDG_MUSIC_DIR=\"$HOMER/x\"\nXDG_VIDEOS_DIR=\"x\"\nXDG_PICTURES_DIR=$HOME/x", {}},
        {"XDG_MUSIC_DIR=\"$HOME/a \\\"b\\\" \\$c\\\\\" # rest", {"/h/a \"b\" $c\\"}},
        {"XDG_MUSIC_DIR=\"$HOME/open\nXDG_VIDEOS_DIR=\"$HOME/v\\", {}},
        {"XDG_MUSIC_DIR\nXDG_PUBLICSHARE_DIR=\"$HOME/p\"\nXDG_DOWNLOAD_DIR=\"$HOME/\xE9\"\r\n",
         {"/h/\xE9"}},
    };

    for (const auto& c : cases)
        EXPECT_EQ(parseUserDirs(c.text, "/h"), c.folders) << c.text;

    TempTree tree;
    tree.file("user-dirs.dirs", std::string_view("XDG_MUSIC_DIR=\"$HOME/m\"\n"));
    EXPECT_EQ(foldersWith({{"HOME", "/h"}, {"XDG_CONFIG_HOME", tree.path()}}).namedFolders(),
              Texts{"/h/m"});
    EXPECT_EQ(foldersWith({{"HOME", "/nowhere"}}).namedFolders(), Texts{});
}

} // namespace
} // namespace quarrydex
