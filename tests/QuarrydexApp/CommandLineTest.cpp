#include "QuarrydexApp/headless/CommandLine.h"

#include "QuarrydexApp/headless/Batch.h"
#include "QuarrydexApp/headless/Json.h"
#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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

std::string jsonString(std::string_view text) {
    std::string out;
    appendJsonString(out, text);
    return out;
}

std::string base64(std::string_view bytes) {
    std::string out;
    appendBase64(out, bytes);
    return out;
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

TEST(CommandLineTest, EveryModeIsChosenByItsFlag) {
    EXPECT_EQ(parsed({}).mode, Mode::none);
    EXPECT_EQ(parsed({"--batch"}).mode, Mode::batch);
    EXPECT_EQ(parsed({"--version"}).mode, Mode::version);
    EXPECT_EQ(parsed({"--help"}).mode, Mode::help);
    EXPECT_EQ(parsed({"--explain", "x"}).explainPath, "x");
    EXPECT_TRUE(parsed({"--batch"}).persist);
}

TEST(CommandLineTest, DuplicatesTakeTheirOptions) {
    const Options options = parsed({"--duplicates", "m3u-keep", "--stages", "size,sameSong",
                                    "--min-size", "0", "--tolerance", "500"});
    EXPECT_EQ(options.mode, Mode::duplicates);
    EXPECT_EQ(options.duplicateList, Options::DuplicateList::m3uKeep);
    EXPECT_EQ(options.finder.stages, (DupStages{DupStage::size, DupStage::sameSong}));
    EXPECT_EQ(options.finder.minSize, 0U);
    EXPECT_EQ(options.finder.durationToleranceMs, 500U);
    EXPECT_EQ(parsed({"--duplicates", "csv"}).finder.stages, DuplicateFinder::Options().stages);
}

TEST(CommandLineTest, SelfTestTakesAllThatFollows) {
    const Options options = parsed({"--root", "/a", "--selftest", "--root", "--list", ""});
    EXPECT_EQ(options.mode, Mode::selfTest);
    EXPECT_EQ(options.queries, (std::vector<std::string>{"--root", "--list", ""}));
    EXPECT_EQ(options.roots, std::vector<std::string>{"/a"});
    EXPECT_FALSE(options.persist);
    EXPECT_TRUE(parsed({"--selftest"}).queries.empty());
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
        parsed({"--dupes", "--query", "--chooser", "--filter", "audio", "--appearance", "dark",
                "--after", "0.25", "--snapshot", "a b", "--select", "--settings", "--show-columns",
                ",name,,path,", "--kind", "long", "--root", "/a"});
    const Options::Screenshot& picture = options.screenshot;
    EXPECT_EQ(options.mode, Mode::none);
    EXPECT_EQ(picture.file, "a b");
    EXPECT_EQ(picture.query, "--chooser"); // a value may look like a flag
    EXPECT_EQ(picture.filter, "audio");
    EXPECT_EQ(picture.appearance, "dark");
    EXPECT_EQ(picture.afterS, 0.25);
    EXPECT_TRUE(picture.dupes && picture.select && picture.settings && !picture.chooser);
    EXPECT_EQ(options.showColumns, (std::vector<std::string>{"name", "path"}));
    EXPECT_EQ(options.kindStyle, "long");
}

TEST(CommandLineTest, OnlyPlainStartsGoToTheRunningInstance) {
    using Ask = Options::Ask;
    EXPECT_TRUE(goesToRunningInstance(parsed({})));
    EXPECT_TRUE(goesToRunningInstance(parsed({"--no-persist"})));
    for (const std::vector<const char*>& arguments :
         {std::vector{"--root", "/a"}, {"--batch"}, {"--snapshot", "x"}, {"--selftest"}})
        EXPECT_FALSE(goesToRunningInstance(parsed(arguments))) << arguments[0];

    EXPECT_EQ(parsed({}).ask, Ask::nothing);
    EXPECT_EQ(parsed({"--toggle"}).ask, Ask::toggle);
    EXPECT_EQ(parsed({"--show"}).ask, Ask::show);
    EXPECT_EQ(parsed({"--background"}).ask, Ask::background);
    EXPECT_EQ(parsed({"--search", "--show"}).ask, Ask::search);
    EXPECT_EQ(parsed({"--search", "--show"}).askText, "--show");
    EXPECT_EQ(parsed({"--search", ""}).ask, Ask::search);
}

TEST(CommandLineTest, FaultsAreNamed) {
    const struct {
        std::vector<const char*> arguments;
        const char* said; ///< a part of the message
    } cases[] = {
        {{"--frobnicate"}, "--frobnicate"},
        {{"-x"}, "-x"},
        {{"--list=x"}, "--list=x"},
        {{"/tmp"}, "/tmp"},
        {{""}, "Unexpected"},
        {{"--list"}, "--list needs a value"},
        {{"--explain"}, "--explain needs a value"},
        {{"--explain", ""}, "--explain needs a value"},
        {{"--list", "x", "--sort"}, "--sort needs a value"},
        {{"--list", "x", "--limit"}, "--limit needs a value"},
        {{"--list", "x", "--types"}, "--types needs a value"},
        {{"--list", "x", "--exclude"}, "--exclude needs a value"},
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
        {{"--batch", "--json"}, "--json works with --list only"},
        {{"--desc"}, "--desc works with --list only"},
        {{"--duplicates"}, "--duplicates needs a value"},
        {{"--duplicates", "m3u"}, "not “m3u”"},
        {{"--duplicates", "csv", "--stages", "size,hash"}, "not “hash”"},
        {{"--duplicates", "csv", "--min-size", "1k"}, "--min-size takes a number, not “1k”"},
        {{"--duplicates", "csv", "--tolerance", "4294967296"}, "--tolerance takes a number"},
        {{"--duplicates", "csv", "--list", "x"}, "--duplicates and --list"},
        {{"--list", "x", "--stages", "size"}, "--stages works with --duplicates only"},
        {{"--toggle", "--show"}, "--toggle and --show cannot"},
        {{"--show", "--root", "/a"}, "--show and --root"},
        {{"--search"}, "--search needs a value"},
        {{"--search", "x", "--list", "y"}, "--search and --list"},
        {{"--snapshot", "x", "--list", "y"}, "--snapshot and --list"},
        {{"--snapshot", "x", "--after", "soon"}, "--after takes a number, not “soon”"},
        {{"--snapshot", "x", "--after", "nan"}, "not “nan”"},
        {{"--snapshot", "x", "--after", "-1"}, "not “-1”"},
        {{"--frobnicate", "--limit", "x"}, "--frobnicate"}, // the first fault
    };

    for (const auto& c : cases)
        EXPECT_NE(fault(c.arguments).find(c.said), std::string::npos)
            << "'" << fault(c.arguments) << "' should say '" << c.said << "'";
}

TEST(CommandLineTest, HelpNamesEveryFlag) {
    for (const char* flag :
         {"--root",       "--no-persist",   "--selftest", "--list",     "--sort",     "--desc",
          "--show-junk",  "--limit",        "--print0",   "--json",     "--batch",    "--explain",
          "--exclude",    "--types",        "--version",  "--help",     "--toggle",   "--show",
          "--search",     "--show-columns", "--kind",     "--snapshot", "--query",    "--filter",
          "--appearance", "--after",        "--dupes",    "--chooser",  "--settings", "--select",
          "pathBase64",   "pathsBase64"})
        EXPECT_NE(helpText().find(flag), std::string::npos) << flag;
}

// --- Requests of --batch ------------------------------------------------------------------------

TEST(BatchTest, RequestsBecomeSearches) {
    const auto request =
        parseRequest(R"({"query":"a \"b\"","sort":"size","desc":true,"showJunk":true,"limit":7})");
    const auto& state = std::get<SearchState>(request);
    EXPECT_EQ(state.query, "a \"b\"");
    EXPECT_EQ(state.sortKey, SortKey::size);
    EXPECT_TRUE(state.sortDesc && state.showJunk && state.browseAll);
    EXPECT_EQ(state.limit, 7U);
    EXPECT_EQ(std::get<SearchState>(parseRequest("{}")).limit, SearchState::noLimit);
}

TEST(BatchTest, BadRequestsAreRefused) {
    const std::string deep(100'000, '[');
    const std::string_view lines[] = {"",
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
                                      R"({"showJunk":"yes"})",
                                      R"({"limit":-1})",
                                      R"({"limit":1.5})",
                                      R"({"limit":"1"})",
                                      R"({"Query":"x"})"};
    for (std::string_view line : lines)
        EXPECT_TRUE(std::holds_alternative<CommandLineError>(parseRequest(line)))
            << line.substr(0, 40);
}

// --- Texts --------------------------------------------------------------------------------------

TEST(JsonTest, StringsReadBackAsTheyWere) {
    for (const char* text : {"", "plain", "a\"b\\c", "tab\tline\n\x01\x7F", "Café が 😀"})
        EXPECT_EQ(nlohmann::json::parse(jsonString(text)).get<std::string>(), text);
    EXPECT_EQ(jsonString("plain"), "\"plain\"");
    EXPECT_EQ(nlohmann::json::parse(jsonString("a\xFFz")).get<std::string>(), "a\uFFFDz");
}

TEST(JsonTest, Base64KeepsEveryByte) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"", R"("")"},        {"f", R"("Zg==")"},        {"fo", R"("Zm8=")"},
        {"foo", R"("Zm9v")"}, {"foob", R"("Zm9vYg==")"}, {"\xFF\xFE\xFD", R"("//79")"},
        {"\xFB", R"("+w==")"}};
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(base64(bytes), text);
}

TEST(JsonTest, AudioRecordsCarryTheirFieldNames) {
    AudioMeta meta;
    meta.durationMs = 210'000;
    meta.codec = AudioCodec::float_;
    meta.bpm10 = 1205;
    meta.title = "\"T\"";
    std::string out;
    appendAudioJson(out, meta);
    const auto object = nlohmann::json::parse(out);
    EXPECT_EQ(object.size(), 14U);
    EXPECT_EQ(object["durationMs"], 210'000);
    EXPECT_EQ(object["codec"], "float");
    EXPECT_EQ(object["bpm10"], 1205);
    EXPECT_EQ(object["vbr"], false);
    EXPECT_EQ(object["title"], "\"T\"");
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
