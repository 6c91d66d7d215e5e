#include "QuarrydexAudio/dupes/Fingerprint.h"

#include "tests/fakes/FakeLauncher.h"
#include "tests/support/MusicFolder.h"

#include <cmath>
#include <cstdlib>
#include <numbers>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::MusicFolder;

std::optional<Fingerprint> parsed(const std::string& output, int status = 0) {
    FakeLauncher launcher;
    launcher.prints("/m/a.mp3", output, status);
    return fingerprint("/m/a.mp3", "/bin/fpcalc", 90, launcher);
}

TEST(FingerprintTest, TakesTheNumbersOfTheOneLineThatHasThem) {
    const Fingerprint words = {1, 4'294'967'295, 0};
    EXPECT_EQ(parsed("DURATION=90\nFINGERPRINT=1,4294967295,0\n"), words);
    EXPECT_EQ(parsed("FINGERPRINT=1,4294967295,0"), words);
    EXPECT_EQ(parsed("X\r\nFINGERPRINT=1,4294967295,0\r\nFINGERPRINT=2\n"), words);
    EXPECT_EQ(parsed("FINGERPRINT=7\n"), Fingerprint{7});
    for (const char* bad :
         {"", "\n\n", "DURATION=90\n", " FINGERPRINT=1\n", "XFINGERPRINT=1", "FINGERPRINT=\n",
          "FINGERPRINT=1,\n", "FINGERPRINT=,1\n", "FINGERPRINT=1,,2", "FINGERPRINT=AQAAE0mU\n",
          "FINGERPRINT=4294967296\n", "FINGERPRINT=-1\n", "FINGERPRINT=1 ,2\n", "FINGERPRINT=1.5"})
        EXPECT_FALSE(parsed(bad)) << bad;
    EXPECT_FALSE(parsed("FINGERPRINT=1\n", 3)) << "a failed run";
    EXPECT_FALSE(fingerprint("/m/b.mp3", "/bin/fpcalc", 90, FakeLauncher())) << "not started";
}

TEST(FingerprintTest, SimilarityIsThatOfTheBestShift) {
    std::mt19937 random(4);
    Fingerprint a;
    for (int i = 0; i < 200; ++i)
        a.push_back(static_cast<std::uint32_t>(random()));
    const auto cut = [&](std::size_t from, std::size_t count) {
        return Fingerprint(a.begin() + static_cast<std::ptrdiff_t>(from),
                           a.begin() + static_cast<std::ptrdiff_t>(from + count));
    };
    EXPECT_EQ(similarity(a, a), 1);
    for (std::size_t shift = 0; shift <= 9; ++shift) {
        const Fingerprint b = cut(shift, 100);
        EXPECT_EQ(similarity(a, b) == 1, shift <= 8) << shift;
        EXPECT_EQ(similarity(b, a), similarity(a, b)) << shift;
    }
    EXPECT_EQ(similarity(cut(0, 40), a), 1);
    EXPECT_EQ(similarity(cut(0, 39), a), 0) << "too short to tell";
    EXPECT_EQ(similarity({}, {}), 0);

    Fingerprint flipped = a;
    for (std::uint32_t& word : flipped)
        word ^= 0xFF; // a quarter of the bits
    EXPECT_DOUBLE_EQ(similarity(a, flipped), 0.75);
    const Fingerprint zeros(50, 0);
    const Fingerprint ones(50, 0xFFFFFFFF);
    EXPECT_EQ(similarity(zeros, ones), 0);
    EXPECT_EQ(similarity(Fingerprint(44, 0), Fingerprint(44, 0)), 1);
}

TEST(FingerprintTest, ProgramsAreLookedForInTheFixedPlacesFirst) {
    TempTree tree;
    tree.folder("a");
    tree.folder("dir/fpcalc");
    for (const char* name : {"fixed", "b/fpcalc", "c/fpcalc", "plain/fpcalc"}) {
        tree.file(name, std::string_view("#!/bin/sh\n"));
        tree.chmod(name, 0755);
    }
    tree.chmod("plain/fpcalc", 0644);
    const std::string fixed[] = {tree.path("missing"), tree.path("fixed")};
    const std::string noPlaces[] = {tree.path("missing"), tree.path("dir/fpcalc")};
    const std::string path = "relative::" + tree.path("a") + ":" + tree.path("dir") + ":" +
                             tree.path("plain") + ":" + tree.path("b") + ":" + tree.path("c");
    EXPECT_EQ(findProgram(fixed, path, "fpcalc"), tree.path("fixed"));
    EXPECT_EQ(findProgram(noPlaces, path, "fpcalc"), tree.path("b/fpcalc"));
    EXPECT_EQ(findProgram(noPlaces, "", "fpcalc"), std::nullopt);
    EXPECT_EQ(findProgram({}, tree.path("c") + "/:", "fpcalc"), tree.path("c/fpcalc"));
}

// --- With the real programs ---------------------------------------------------------------------

std::optional<std::string> inPath(const char* name) {
    const char* path = std::getenv("PATH");
    return findProgram({}, path == nullptr ? "" : path, name);
}

/// A minute and a half of made-up music: a chord a second out of a random walk, with overtones,
/// decay and drums. Plain sines would all sound alike to a fingerprinter.
std::string music(unsigned seed) {
    constexpr int rate = 11'025;
    constexpr int seconds = 95;
    std::mt19937 random(seed);
    std::string samples;
    double notes[3] = {220, 277, 330};
    for (int second = 0; second < seconds; ++second) {
        for (double& note : notes)
            note = 110 * std::pow(2, static_cast<double>(random() % 36) / 12);
        for (int i = 0; i < rate; ++i) {
            const double t = static_cast<double>(i) / rate;
            double value = 0;
            for (double note : notes)
                for (int overtone = 1; overtone <= 4; ++overtone)
                    value += std::sin(2 * std::numbers::pi * note * overtone * t) / overtone *
                             std::exp(-t * overtone / 2);
            const double drum = std::exp(-std::fmod(t, 0.25) * 40);
            value += drum * (static_cast<double>(random() % 2000) / 1000 - 1);
            const auto sample = static_cast<std::int16_t>(value * 4000);
            samples.append(reinterpret_cast<const char*>(&sample), sizeof sample);
        }
    }
    return samples;
}

TEST(FingerprintTest, RealRecordingsMatchAcrossFormatsAndOthersDoNot) {
    const auto fpcalc = fpcalcPath();
    const auto ffmpeg = inPath("ffmpeg");
    if (!fpcalc || !ffmpeg)
        GTEST_SKIP() << "not run: fpcalc and ffmpeg are needed";
    MusicFolder folder;
    const auto encode = [&](const std::string& samples, const std::string& name) {
        folder.tree.file("raw", samples);
        const ProcessOutcome outcome = systemProcessLauncher().run(
            {.program = *ffmpeg,
             .arguments = {"-loglevel", "error", "-f", "s16le", "-ar", "11025", "-ac", "1", "-i",
                           folder.tree.path("raw"), folder.tree.path(name)}},
            {});
        ASSERT_TRUE(outcome.succeeded()) << name;
        folder.tree.remove("raw");
    };
    const std::string one = music(1);
    encode(one, "one.flac");
    encode(one, "one.mp3");
    encode(music(2), "two.flac");
    folder.tree.file("three.flac", std::string_view("no music at all, but long enough"));
    folder.scan();
    for (const char* name : {"one.flac", "one.mp3", "two.flac"}) {
        AudioMeta meta; // by their tags they are all one song
        meta.artist = "The Band";
        meta.title = "Song";
        meta.durationMs = 95'000;
        folder.tag(name, meta);
    }

    const auto print = [&](const char* name) {
        return fingerprint(folder.tree.path(name), *fpcalc, 90, systemProcessLauncher());
    };
    ASSERT_TRUE(print("one.flac"));
    EXPECT_GT(print("one.flac")->size(), 600U);
    EXPECT_FALSE(print("three.flac"));
    EXPECT_FALSE(print("missing.flac"));
    EXPECT_GT(similarity(*print("one.flac"), *print("one.mp3")), 0.9);
    EXPECT_LT(similarity(*print("one.flac"), *print("two.flac")), 0.7);

    DuplicateFinder::Options options;
    options.stages.insert(DupStage::fingerprint);
    DuplicateFinder finder(folder.dupVolumes(), options);
    const std::vector<DupGroup> groups = finder.run();
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(folder.sets(groups, DupKind::sameSong),
              (std::set<std::set<std::string>>{{"one.flac", "one.mp3"}}));
    EXPECT_EQ(groups[0].confirmed, true);
}

} // namespace
} // namespace quarrydex
