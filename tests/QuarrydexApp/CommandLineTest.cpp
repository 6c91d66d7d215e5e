#include "QuarrydexApp/headless/CommandLine.h"

#include "QuarrydexApp/headless/Batch.h"
#include "QuarrydexApp/headless/Json.h"
#include "QuarrydexApp/headless/Terminal.h"

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using Mode = Options::Mode;

/// The options, or a failed test.
Options parsed(std::vector<const char*> arguments) {
    const auto result = parseCommandLine(arguments);
    if (const auto* error = std::get_if<CommandLineError>(&result)) {
        ADD_FAILURE() << error->message;
        return {};
    }
    return std::get<Options>(result);
}

/// The message, empty when the arguments were taken.
std::string fault(std::vector<const char*> arguments) {
    const auto result = parseCommandLine(arguments);
    const auto* error = std::get_if<CommandLineError>(&result);
    return error != nullptr ? error->message : "";
}

} // namespace

TEST(CommandLineTest, ListTakesItsOptions) {
    const Options options =
        parsed({"--root",    "/a",      "--list",  "--desc",      "--desc",
                "--sort",    "created", "--limit", "0",           "--show-junk",
                "--json",    "--root",  "b c",     "--exclude",   "/a/x",
                "--exclude", "y",       "--types", "*.MP3; flac", "--no-persist"});
    EXPECT_EQ(options.mode, Mode::list);
    EXPECT_EQ(options.query, "--desc"); // a query may look like a flag
    EXPECT_EQ(options.roots, (std::vector<std::string>{"/a", "b c"}));
    EXPECT_EQ(options.excludes, (std::vector<std::string>{"/a/x", "y"}));
    EXPECT_EQ(options.includeExts, (std::vector<std::string>{"mp3", "flac"}));
    EXPECT_EQ(options.sort, SortKey::created);
    EXPECT_EQ(options.limit, 0U);
    EXPECT_TRUE(options.descending && options.showJunk && options.json);
    EXPECT_FALSE(options.print0 || options.persist);
}

TEST(CommandLineTest, DuplicatesTakeTheirOptions) {
    const Options options = parsed({"--duplicates", "m3u-keep", "--stages", "size,sameSong",
                                    "--min-size", "0", "--tolerance", "500"});
    EXPECT_EQ(options.duplicateList, Options::DuplicateList::m3uKeep);
    EXPECT_EQ(options.finder.stages, (DupStages{DupStage::size, DupStage::sameSong}));
    EXPECT_EQ(options.finder.minSize, 0U);
    EXPECT_EQ(options.finder.durationToleranceMs, 500U);
}

TEST(CommandLineTest, SelfTestTakesAllThatFollows) {
    const Options options = parsed({"--root", "/a", "--selftest", "--root", "--list", ""});
    EXPECT_EQ(options.mode, Mode::selfTest);
    EXPECT_EQ(options.queries, (std::vector<std::string>{"--root", "--list", ""}));
    EXPECT_EQ(options.roots, std::vector<std::string>{"/a"});
    EXPECT_FALSE(options.persist);
}

TEST(CommandLineTest, WindowFlagsWithoutTheirValueAreIgnored) {
    for (const char* flag : {"--root", "--kind", "--show-columns", "--snapshot", "--query",
                             "--filter", "--appearance", "--after"}) {
        const Options options = parsed({"--list", "x", flag});
        EXPECT_EQ(options.mode, Mode::list) << flag;
        EXPECT_TRUE(options.roots.empty() && options.screenshot.file.empty()) << flag;
    }
}

TEST(CommandLineTest, SnapshotTakesItsOptions) {
    const Options options =
        parsed({"--dupes", "--query", "--chooser", "--after", "0.25", "--snapshot", "a b",
                "--show-columns", ",name,,path,", "--kind", "long", "--root", "/a"});
    const Options::Screenshot& picture = options.screenshot;
    EXPECT_EQ(options.mode, Mode::none);
    EXPECT_EQ(picture.file, "a b");
    EXPECT_EQ(picture.query, "--chooser"); // a value may look like a flag
    EXPECT_EQ(picture.afterS, 0.25);
    EXPECT_TRUE(picture.dupes && !picture.chooser);
    EXPECT_EQ(options.showColumns, (std::vector<std::string>{"name", "path"}));
    EXPECT_EQ(options.kindStyle, "long");
}

TEST(CommandLineTest, OnlyPlainStartsGoToTheRunningInstance) {
    EXPECT_TRUE(goesToRunningInstance(parsed({})));
    EXPECT_TRUE(goesToRunningInstance(parsed({"--no-persist"})));
    for (const std::vector<const char*>& arguments :
         {std::vector{"--root", "/a"}, {"--batch"}, {"--snapshot", "x"}, {"--selftest"}})
        EXPECT_FALSE(goesToRunningInstance(parsed(arguments))) << arguments[0];
    const Options search = parsed({"--search", "--show"});
    EXPECT_EQ(search.ask, Options::Ask::search);
    EXPECT_EQ(search.askText, "--show");
    EXPECT_EQ(parsed({"--search", ""}).ask, Options::Ask::search);
    EXPECT_EQ(parsed({"--background"}).ask, Options::Ask::background);
}

TEST(CommandLineTest, FaultsAreNamed) {
    const struct {
        std::vector<const char*> arguments;
        const char* said; ///< a part of the message
    } cases[] = {
        {{"--list=x"}, "--list=x"},
        {{"/tmp"}, "/tmp"},
        {{""}, "Unexpected"},
        {{"--explain", ""}, "--explain needs a value"},
        {{"--list", "x", "--sort"}, "--sort needs a value"},
        {{"--list", "x", "--sort", "Name"}, "“Name”"},
        {{"--list", "x", "--limit", "-1"}, "“-1”"},
        {{"--list", "x", "--limit", "3x"}, "“3x”"},
        {{"--list", "x", "--limit", ""}, "“”"},
        {{"--list", "x", "--limit", "99999999999999999999"}, "“99999999999999999999”"},
        {{"--list", "x", "--types", "*.m?a;mp3;a/b"},
         "Not understood (only *.extension, separated by semicolons): *.m?a a/b"},
        {{"--list", "x", "--print0", "--json"}, "--print0 and --json"},
        {{"--list", "x", "--batch"}, "--list and --batch"},
        {{"--batch", "--selftest"}, "--batch and --selftest"},
        {{"--desc"}, "--desc works with --list only"},
        {{"--duplicates", "m3u"}, "not “m3u”"},
        {{"--duplicates", "csv", "--stages", "size,hash"}, "not “hash”"},
        {{"--duplicates", "csv", "--min-size", "1k"}, "--min-size takes a number, not “1k”"},
        {{"--duplicates", "csv", "--tolerance", "4294967296"}, "--tolerance takes a number"},
        {{"--list", "x", "--stages", "size"}, "--stages works with --duplicates only"},
        {{"--toggle", "--show"}, "--toggle and --show cannot"},
        {{"--show", "--root", "/a"}, "--show and --root"},
        {{"--snapshot", "x", "--after", "nan"}, "not “nan”"},
        {{"--snapshot", "x", "--after", "-1"}, "not “-1”"},
        {{"--frobnicate", "--limit", "x"}, "--frobnicate"}, // the first fault
    };

    for (const auto& c : cases)
        EXPECT_NE(fault(c.arguments).find(c.said), std::string::npos)
            << "'" << fault(c.arguments) << "' should say '" << c.said << "'";
}

// --- Requests of --batch ------------------------------------------------------------------------

TEST(BatchTest, BadRequestsAreRefused) {
    const std::string deep(100'000, '[');
    const std::vector<std::string> lines = {"",
                                            "[",
                                            "[1]",
                                            "7",
                                            "null",
                                            "{\"query\":\"x\"",
                                            "{\"query\":\"\xFF\"}",
                                            deep,
                                            R"({"query":7})",
                                            R"({"query":null})",
                                            R"({"sort":"Size"})",
                                            R"({"sort":2})",
                                            R"({"desc":1})",
                                            R"({"limit":-1})",
                                            R"({"limit":1.5})",
                                            R"({"Query":"x"})"};
    for (const std::string& line : lines)
        EXPECT_TRUE(std::holds_alternative<CommandLineError>(parseRequest(line)))
            << line.substr(0, 40);
}

// --- Texts --------------------------------------------------------------------------------------

TEST(JsonTest, Base64KeepsEveryByte) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"", R"("")"},
        {"f", R"("Zg==")"},
        {"fo", R"("Zm8=")"},
        {"foo", R"("Zm9v")"},
        {"\xFF\xFE\xFD\xFB", R"("//79+w==")"}};
    for (const auto& [bytes, text] : cases) {
        std::string out;
        appendBase64(out, bytes);
        EXPECT_EQ(out, text);
    }
}

TEST(TerminalTest, OnlyTextsThatWouldMoveTheCursorAreEscaped) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"plain", "plain"},           {"back\\slash", "back\\slash"},
        {"Café が 😀", "Café が 😀"},   {"a\nb", "a\\nb"},
        {"a\nb\\", "a\\nb\\\\"},      {"\t\r\x1B[2J\x7F", "\\t\\r\\x1b[2J\\x7f"},
        {"\xC2\x9B!", "\\xc2\\x9b!"}, // C1: a terminal may take it for ESC [
        {"\x9B!\xFF", "\\x9b!\\xff"}, {"\xC2\xA0", "\xC2\xA0"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(escaped(text), shown);
        EXPECT_EQ(needsEscaping(text), text != shown);
    }
}

} // namespace quarrydex
