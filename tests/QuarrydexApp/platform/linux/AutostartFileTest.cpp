#include "QuarrydexApp/platform/linux/AutostartFile.h"

#include "QuarrydexCore/base/Files.h"

#include "tests/support/TempTree.h"

#include <string>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

std::string contentOf(const std::string& path) {
    std::string text;
    EXPECT_EQ(readFile(path, 65536, text), 0);
    return text;
}

TEST(AutostartFileTest, IsMadeRemovedAndSeenWhenTheDesktopSwitchesItOff) {
    const TempTree tree;
    const std::string folder = tree.path("config/autostart");
    AutostartFile start(folder, "Quarrydex", {"/opt/quarrydex"});
    EXPECT_FALSE(start.isOn());
    EXPECT_TRUE(start.set(false));
    ASSERT_TRUE(start.set(true));
    EXPECT_TRUE(start.isOn());
    const std::string entry = contentOf(folder + "/quarrydex.desktop");
    EXPECT_TRUE(entry.starts_with("[Desktop Entry]\nType=Application\nName=Quarrydex\nExec="));

    TempTree other;
    for (const char* line : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
        other.file("quarrydex.desktop", entry + line + "\n");
        EXPECT_FALSE(AutostartFile(other.path(), "Quarrydex", {"/x"}).isOn()) << line;
        other.remove("quarrydex.desktop");
    }
    EXPECT_TRUE(start.set(false));
    EXPECT_FALSE(start.isOn());
}

TEST(AutostartFileTest, CommandSurvivesTheQuotingOfDesktopEntries) {
    const struct {
        std::string argument, line;
    } cases[] = {
        {"/usr/bin/quarrydex", R"(Exec="/usr/bin/quarrydex")"},
        {"/a b/100%", R"(Exec="/a b/100%%")"},
        {R"(/a"b`c$d\e)", R"(Exec="/a\\"b\\`c\\$d\\\\e")"},
    };

    for (const auto& [argument, line] : cases) {
        const TempTree tree;
        ASSERT_TRUE(AutostartFile(tree.path(), "Q", {argument}).set(true));
        const std::string entry = contentOf(tree.path("quarrydex.desktop"));
        EXPECT_NE(entry.find("\n" + line + "\n"), std::string::npos) << entry;
    }
    const TempTree tree;
    EXPECT_FALSE(AutostartFile(tree.path(), "Q", {"/a\nExec=/evil"}).set(true));
    EXPECT_FALSE(AutostartFile(tree.path(), "Q", {"/a\nExec=/evil"}).isOn());
}

} // namespace
} // namespace quarrydex
