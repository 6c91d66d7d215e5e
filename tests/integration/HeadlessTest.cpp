// Runs the built program as a user or a script would.

#include "tests/support/AudioBytes.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

using nlohmann::json;

Outcome run(const std::vector<std::string>& arguments, const Launch& launch = {}) {
    return runProgram(QDX_PROGRAM, arguments, launch);
}

std::vector<std::string> split(const std::string& text, char end) {
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t stop = text.find(end, at);
        EXPECT_NE(stop, std::string::npos) << "the last one has no end";
        parts.push_back(text.substr(at, stop - at));
        at = stop == std::string::npos ? text.size() : stop + 1;
    }
    return parts;
}

class HeadlessTest : public ::testing::Test {
  protected:
    HeadlessTest() {
        ::signal(SIGPIPE, SIG_IGN);
        tree.file("music/One.mp3", 300);
        tree.file("music/two.flac", 200);
        tree.file("music/Three.MP3", 100);
        tree.file("notes.txt", 5);
        tree.file(".hidden/one.mp3", 7);
        tree.file("Thumbs.db", 9);
        for (const char* name : {"music/One.mp3", "music/two.flac", "music/Three.MP3", "music"})
            tree.setTimes(name, ++time);
    }

    /// Runs over the tree.
    Outcome search(std::vector<std::string> arguments, const Launch& launch = {}) {
        arguments.insert(arguments.begin(), {"--root", tree.path()});
        return run(arguments, launch);
    }

    /// Full paths, one a line.
    std::string lines(const std::vector<std::string>& names) {
        std::string out;
        for (const std::string& name : names)
            out += tree.path(name) + "\n";
        return out;
    }

    TempTree tree;
    std::int64_t time = 1'600'000'000;
};

} // namespace

// --- --list -------------------------------------------------------------------------------------

TEST_F(HeadlessTest, ListPrintsPathsInOrder) {
    const struct {
        std::vector<std::string> arguments;
        std::vector<std::string> names;
    } cases[] = {
        {{"--list", "mp3"}, {"music/One.mp3", "music/Three.MP3"}},
        {{"--list", "mp3", "--desc"}, {"music/Three.MP3", "music/One.mp3"}},
        {{"--list", "ext:mp3,flac", "--sort", "date", "--desc"},
         {"music/Three.MP3", "music/two.flac", "music/One.mp3"}},
        {{"--list", "", "--sort", "path"},
         {"music", "music/One.mp3", "music/Three.MP3", "music/two.flac", "notes.txt"}},
        {{"--list", "", "--limit", "2"}, {"music", "notes.txt"}},
        {{"--list", "one", "--show-junk", "--sort", "size"}, {".hidden/one.mp3", "music/One.mp3"}},
        {{"--list", "file:", "--types", "*.mp3"}, {"music/One.mp3", "music/Three.MP3"}},
        {{"--list", "file:", "--exclude", tree.path("music")}, {"notes.txt"}},
        {{"--no-persist", "--list", "two | notes"}, {"notes.txt", "music/two.flac"}},
    };

    for (const auto& c : cases) {
        const Outcome outcome = search(c.arguments);
        EXPECT_EQ(outcome.out, lines(c.names));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(HeadlessTest, StatusTellsHitsFromNoneFromErrors) {
    EXPECT_EQ(search({"--list", "absent"}).status, 1);
    EXPECT_EQ(search({"--list", "mp3", "--limit", "0"}).status, 0);
    EXPECT_EQ(run({"--version"}).status, 0);
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_EQ(search({"--list", "size:10xb"}).err, "Invalid search: size: 10xb\n");
    EXPECT_EQ(run({"--list", "x"}).err, "No folder given: use --root DIR.\n");
    for (const char* flag : {"", "--frobnicate", "--list", "--batch", "--explain", "--selftest"}) {
        const Outcome outcome = run({flag});
        EXPECT_EQ(outcome.status, 2) << flag;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
    }
}

TEST_F(HeadlessTest, BadRootIsToldAndTheOthersAreSearched) {
    for (const std::string& bad : {tree.path("absent"), tree.path("notes.txt")}) {
        const Outcome outcome = run({"--root", bad, "--root", tree.path(), "--list", "notes"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, lines({"notes.txt"}));
        EXPECT_NE(outcome.err.find(bad), std::string::npos) << outcome.err;
    }
}

TEST_F(HeadlessTest, NamesAreByteExact) {
    const std::vector<std::string> names = {"x\nfoo", "x\xFF\xFE", "x\x1B[31m", "x\"q\\", "x café"};
    for (const std::string& name : names)
        tree.file(name);
    std::vector<std::string> found =
        split(search({"--list", "x", "--print0", "--sort", "path"}).out, '\0');
    for (const std::string& name : names)
        EXPECT_EQ(std::ranges::count(found, tree.path(name)), 1) << name;

    for (const std::string& line : split(search({"--list", "x", "--json"}).out, '\n')) {
        const json object = json::parse(line);
        EXPECT_EQ(object.contains("pathBase64"), object["name"] == "x\uFFFD\uFFFD") << line;
    }
}

TEST_F(HeadlessTest, ControlCharactersAreEscapedForATerminalOnly) {
    tree.file("esc\x1B[2J\n");
    EXPECT_EQ(search({"--list", "esc"}).out, lines({"esc\x1B[2J\n"}));
    EXPECT_EQ(search({"--list", "esc"}, {.terminal = true}).out,
              tree.path("esc\\x1b[2J\\n") + "\r\n");
    EXPECT_NE(search({"--explain", tree.path("esc\x1B[2J\n")}, {.terminal = true})
                  .out.find("esc\\x1b[2J\\n"),
              std::string::npos);
}

TEST_F(HeadlessTest, JsonLinesHoldEveryField) {
    json file = json::parse(search({"--list", "three", "--json"}).out);
    EXPECT_TRUE(file["ctime"].is_number_unsigned());
    file.erase("ctime");
    const std::string drive = tree.path().substr(tree.path().rfind('/') + 1);
    EXPECT_EQ(file, json({{"path", tree.path("music/Three.MP3")},
                          {"name", "Three.MP3"},
                          {"size", 100},
                          {"mtime", 1'600'000'003},
                          {"kind", "file"},
                          {"flags", 0},
                          {"ext", "mp3"},
                          {"drive", drive}}));
    const json folder = json::parse(search({"--list", "music", "--json"}).out);
    EXPECT_EQ(folder["kind"], "folder");
    EXPECT_EQ(folder["ext"], "");
    EXPECT_EQ(folder["flags"], 1);
}

TEST_F(HeadlessTest, ReaderThatLeavesEndsTheOutputQuietly) {
    for (int i = 0; i < 3'000; ++i)
        tree.file("many/a file with a rather long name " + std::to_string(i));
    for (const char* json : {"--json", "--print0"}) {
        const Outcome outcome = search({"--list", "file", json}, {.readerLeaves = true});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
    }
    EXPECT_EQ(search({"--batch"}, {.input = "{}\n{}\n", .readerLeaves = true}).status, 0);
}

TEST_F(HeadlessTest, OutputThatCannotBeWrittenIsAnError) {
    for (const std::vector<std::string>& mode :
         std::vector<std::vector<std::string>>{{"--list", "one"},
                                               {"--explain", tree.path("notes.txt")},
                                               {"--help"},
                                               {"--selftest"}}) {
        std::vector<std::string> arguments = {"-c", "exec \"$0\" \"$@\" >/dev/full", QDX_PROGRAM,
                                              "--root", tree.path()};
        arguments.insert(arguments.end(), mode.begin(), mode.end());
        const Outcome outcome = runProgram("/bin/sh", arguments, {});
        EXPECT_EQ(outcome.status, 2) << mode.front();
        EXPECT_EQ(outcome.err, "The output cannot be written: No space left on device\n");
    }
}

TEST_F(HeadlessTest, NoLocaleDisturbsTheOutput) {
    for (const char* locale : {"C", "de_DE.UTF-8", "xx_YY"}) {
        const Outcome outcome =
            search({"--list", "size:>=0.1k ext:mp3"}, {.environment = {{"LC_ALL", locale}}});
        EXPECT_EQ(outcome.out, lines({"music/One.mp3"})) << locale;
        EXPECT_EQ(outcome.err, "") << locale;
    }
}

// --- Music --------------------------------------------------------------------------------------

namespace {

std::string mp3(std::string_view artist, std::string_view title, std::size_t frames = 200) {
    return bytes::id3Tag(4, bytes::id3Text(4, "TPE1", artist) + bytes::id3Text(4, "TIT2", title)) +
           bytes::mpegFrames(frames);
}

/// As long as so many frames of an MP3, and of more bytes than the finder's smallest.
std::string flac(std::string_view artist, std::string_view title, std::size_t frames = 200) {
    const std::vector<std::string> texts = {"ARTIST=" + std::string(artist),
                                            "TITLE=" + std::string(title)};
    return "fLaC" + bytes::flacBlock(0, bytes::streamInfo({.samples = frames * 1152})) +
           bytes::flacBlock(4, bytes::comments(texts), {.isLast = true}) + bytes::zeros(50'000);
}

} // namespace

TEST_F(HeadlessTest, JsonTellsWhatIsKnownOfAudio) {
    tree.file("tagged/one.mp3", mp3("Some\"one\xFF", "T"));
    tree.file("tagged/one.flac", flac("B", "\xC3\x9C", 500));
    tree.file("tagged/one.txt", "text");
    for (const char* query : {"one ext:mp3,flac,txt", "one ext:mp3,flac,txt | artist:nobody"}) {
        std::vector<json> objects;
        for (const std::string& line :
             split(search({"--list", query, "--json", "--sort", "path"}).out, '\n'))
            objects.push_back(json::parse(line));
        ASSERT_EQ(objects.size(), 4U) << query;
        EXPECT_FALSE(objects[0].contains("audio")) << "an MP3 of nothing but zeros";
        EXPECT_EQ(objects[1]["audio"],
                  json::parse(R"({"durationMs": 13061, "bitrateKbps": 31, "sampleRate": 44100,
                                  "bits": 16, "channels": 2, "codec": "flac", "vbr": false,
                                  "bpm10": 0, "year": 0, "artist": "B", "title": "Ü", "album": "",
                                  "genre": "", "key": ""})"));
        EXPECT_EQ(objects[2]["audio"]["artist"], "Some\"oneÿ") << "ISO-8859-1";
        EXPECT_EQ(objects[2]["audio"]["codec"], "mp3");
        EXPECT_FALSE(objects[3].contains("audio"));
    }
}

TEST_F(HeadlessTest, DuplicatesAreListedWithTheOneToKeep) {
    tree.file("a/song.flac", flac("Band", "Song"));
    tree.file("b/song.mp3", mp3("band", "song"));
    tree.file("c/same.mp3", mp3("Other", "Same"));
    tree.file("d/same copy.mp3", mp3("Other", "Same"));
    tree.file("e/alone.mp3", mp3("Band", "Another"));
    for (const char* name : {"a/song.flac", "b/song.mp3", "c/same.mp3", "d/same copy.mp3"})
        tree.setTimes(name, ++time);

    using Texts = std::vector<std::string>;
    const std::pair<Texts, Texts> cases[] = {
        {{"m3u-surplus"}, {"b/song.mp3", "d/same copy.mp3"}},
        {{"m3u-keep"}, {"a/song.flac", "c/same.mp3"}},
        {{"m3u-all"}, {"a/song.flac", "b/song.mp3", "c/same.mp3", "d/same copy.mp3"}},
        {{"m3u-all", "--stages", "size,quickHash,fullHash"}, {"c/same.mp3", "d/same copy.mp3"}},
        {{"m3u-all", "--stages", "sameSong", "--types", "flac"}, {}},
        {{"m3u-all", "--min-size", "1000000"}, {}},
    };
    for (const auto& [arguments, names] : cases) {
        Texts all = {"--duplicates"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const Outcome outcome = search(all);
        EXPECT_EQ(outcome.status, names.empty() ? 1 : 0);
        Texts found;
        for (const std::string& line : split(outcome.out, '\n'))
            if (line.starts_with('/'))
                found.push_back(line.substr(tree.path().size() + 1));
        std::ranges::sort(found);
        EXPECT_EQ(found, names) << arguments.back();
    }
    const std::string csv = search({"--duplicates", "csv"}).out;
    EXPECT_NE(csv.find(",sameSong,,keep,\"" + tree.path("a/song.flac") + '"'), std::string::npos)
        << csv;
}

TEST_F(HeadlessTest, NoDuplicatesIsSaidAndIsNoHit) {
    tree.file("e/alone.mp3", mp3("Band", "Another"));
    tree.hardLink("e/same file.mp3", "e/alone.mp3");
    tree.link("e/link.mp3", "alone.mp3");
    for (const char* list : {"m3u-surplus", "csv"}) {
        const Outcome outcome = search({"--duplicates", list});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "No duplicates found.\n");
        EXPECT_EQ(outcome.out.find(tree.path()), std::string::npos) << outcome.out;
    }
}

// --- --batch ------------------------------------------------------------------------------------

TEST_F(HeadlessTest, BatchAnswersEveryRequestInTurn) {
    tree.file("x\xFF");
    const std::string tooLong = "{\"query\":\"" + std::string(1 << 20, 'a') + "\"}";
    const Outcome outcome =
        search({"--batch"},
               {.input = "{\"query\":\"mp3\"}\n"
                         "not json\n"
                         "\n" +
                         tooLong +
                         "\n"
                         "{\"query\":\"size:10xb\"}\n"
                         "{\"query\":\"file:\",\"sort\":\"size\",\"desc\":true,\"limit\":2}\r\n"
                         "{\"query\":\"x\",\"sort\":\"name\",\"limit\":9}\n"
                         "{\"query\":\"absent\"}\n"
                         "{\"query\":\"thumbs\",\"showJunk\":true}"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    std::vector<json> answers;
    for (const std::string& line : split(outcome.out, '\n'))
        answers.push_back(json::parse(line));
    ASSERT_EQ(answers.size(), 8U);
    const auto paths = [&](const std::vector<std::string>& names) {
        json out = json::array();
        for (const std::string& name : names)
            out.push_back(tree.path(name));
        return out;
    };
    EXPECT_EQ(answers[0]["count"], 2);
    EXPECT_TRUE(answers[0]["ms"].is_number());
    EXPECT_EQ(answers[0]["paths"], paths({"music/One.mp3", "music/Three.MP3"}));
    EXPECT_FALSE(answers[0].contains("pathsBase64"));
    for (std::size_t i : {1U, 2U, 3U})
        EXPECT_TRUE(answers[i].contains("error") && answers[i].size() == 1) << answers[i];
    EXPECT_EQ(answers[3]["error"], "Invalid search: size: 10xb");
    EXPECT_EQ(answers[4]["count"], 5);
    EXPECT_EQ(answers[4]["paths"], paths({"music/One.mp3", "music/two.flac"}));
    ASSERT_EQ(answers[5]["paths"].size(), 2U); // notes.txt and the name that is no UTF-8
    EXPECT_EQ(answers[5]["pathsBase64"][0], nullptr);
    EXPECT_TRUE(answers[5]["pathsBase64"][1].is_string());
    EXPECT_EQ(answers[6]["paths"], json::array());
    EXPECT_EQ(answers[7]["count"], 1);
}

TEST_F(HeadlessTest, BatchEndsWithItsInput) {
    EXPECT_EQ(search({"--batch"}).out, "");
    EXPECT_EQ(search({"--batch"}).status, 0);
    EXPECT_EQ(search({"--batch"}, {.closedInput = true}).status, 0);
    EXPECT_EQ(run({"--root", tree.path("absent"), "--batch"}).status, 2);
}

// --- --explain ----------------------------------------------------------------------------------

TEST_F(HeadlessTest, ExplainNamesTheReason) {
    tree.link("link.mp3", "music");
    tree.file("._junk.mp3");
    tree.file("cycle/a/a/a/a/a/a/deep.mp3");
    tree.folder("shut");
    tree.file("shut/inside");
    ASSERT_EQ(::chmod(tree.path().c_str(), 0755), 0);
    tree.chmod("shut", 0);

    const struct {
        std::string path;
        int status;
        const char* said;
    } cases[] = {
        {"music/One.mp3", 0, "Found"},
        {"music//./One.mp3", 0, "Found"},
        {"link.mp3", 0, "Found"},
        {"link.mp3/none", 1, "music/none” does not exist"},
        {"music/one.mp3", 1, "does not exist"},
        {".hidden/one.mp3", 1, "hidden folder"},
        {".hidden", 1, "It is hidden."},
        {"._junk.mp3", 1, "system file"},
        {"music/two.flac", 1, "type filter"},
        {"out", 0, "Found"},
        {"out/x.mp3", 1, "excluded"},
        {"notes.txt/x", 1, "type filter"},
        {"cycle/a/a/a/a/a/a/deep.mp3", 1, "repeats itself"},
        {"shut/inside", 1, "cannot be read: Permission denied"},
        {"link.mp3/One.mp3", 0, "music/One.mp3"}, // through the link, where it really is
        {"/nowhere", 1, "outside"},
        {"", 1, "folder that is searched"},
    };

    tree.file("out/x.mp3");
    for (const auto& c : cases) {
        const std::string path = c.path.starts_with('/') ? c.path : tree.path() + "/" + c.path;
        const Outcome outcome =
            search({"--types", "mp3", "--exclude", tree.path("out"), "--explain", path},
                   {.asNobody = true});
        if (outcome.status >= 126)
            GTEST_SKIP() << "the program cannot be run without root's rights from where it lies";
        EXPECT_EQ(outcome.status, c.status) << path << "\n" << outcome.out << outcome.err;
        EXPECT_NE(outcome.out.find(c.said), std::string::npos) << path << "\n" << outcome.out;
    }
    tree.chmod("shut", 0755);
    EXPECT_EQ(run({"--root", tree.path("absent"), "--explain", tree.path()}).status, 2);
}

TEST_F(HeadlessTest, ExplainNamesMountsThatAreNotEntered) {
    struct stat outer;
    struct stat inner;
    if (::stat("/dev", &outer) != 0 || ::stat("/dev/shm", &inner) != 0 ||
        outer.st_dev == inner.st_dev)
        GTEST_SKIP() << "no file system begins at /dev/shm here";
    const Outcome outcome = run({"--root", "/dev", "--explain", "/dev/shm/x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("Another file system begins at “/dev/shm”"), std::string::npos)
        << outcome.out;
}

// --- --selftest ---------------------------------------------------------------------------------

TEST_F(HeadlessTest, SelfTestScansAndTimesQueries) {
    const Outcome outcome = search({"--selftest", "mp3"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("scan done in "), std::string::npos);
    for (const char* key : {"name", "path", "size", "date", "created"}) {
        const std::size_t line = outcome.out.find(std::string("query 'mp3' sort ") + key);
        ASSERT_NE(line, std::string::npos) << key;
        EXPECT_LT(outcome.out.find("2 rows in ", line), outcome.out.find('\n', line)) << key;
    }
}

} // namespace quarrydex
