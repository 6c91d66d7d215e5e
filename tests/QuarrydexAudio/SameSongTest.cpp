#include "QuarrydexAudio/dupes/SameSong.h"

#include "QuarrydexAudio/dupes/SongKey.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

// g++ 12 with a sanitizer sees values in here that could be unset and are not.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <regex>
#pragma GCC diagnostic pop
#else
#include <regex>
#endif

namespace quarrydex {
namespace {

// --- Normalising --------------------------------------------------------------------------------

TEST(SameSongTest, NormalisesAwayWhatDoesNotTellTheSong) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"Song (live (320)) end", "song end"}, // the tag ends at the first closing bracket
        {"(a [b (MP3] c", "c"},                // and begins at the first opening one
        {"MÖTLEY Crüe", "motley crue"},
        {"Mo\xCC\x88tley", "motley"}, // decomposed
        {"СТРАННЫЕ игры", "странные игры"},
        {"हिन्दी गाना", "हिन्दी गाना"}, // vowel signs belong to their letters
        {"が", "が"},
        {"\xD9\xA1\xD9\xA2. x", "x"},               // Arabic-Indic track number
        {"01.\xC2\xA0Song", "song"},                // no-break space
        {"Bj\xF6rk / J\xF3ga", "bj\xF6rk j\xF3ga"}, // Latin-1: bytes stay apart
        {"x½²", "x½²"},
    };
    for (const auto& [text, wanted] : cases)
        EXPECT_EQ(normalize(text), wanted) << text;
}

/// Splits at everything that is not an ASCII letter or digit.
std::string plainWords(const std::string& text) {
    std::string out;
    bool isBetween = false;
    for (char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0) {
            isBetween = true;
            continue;
        }
        if (isBetween && !out.empty())
            out += ' ';
        isBetween = false;
        out += c;
    }
    return out;
}

/// The definition, by the library's regular expressions.
std::string normalizeByRegex(std::string text) {
    const auto flags = std::regex::ECMAScript | std::regex::icase;
    static const std::regex tag(
        R"([\(\[](?:[^\)\]]*(?:kbps|kbit|flac|mp3|wav|aiff|aac|alac|lossless)"
        R"(|320|256|192|128|vbr|cbr)[^\)\]]*)[\)\]])",
        flags);
    static const std::regex disc(R"(^\s*\d{1,2}-\d{1,3}(?=\s|[-_.)])\s*[-_.)]*\s*)", flags);
    static const std::regex track(R"(^\s*(?:cd\s*\d+\s*[-_. ]+)?\d{1,3}\s*[-_.)]+\s*)", flags);
    text = std::regex_replace(text, tag, "");
    const auto once = std::regex_constants::format_first_only;
    text = std::regex_replace(text, disc, "", once);
    text = std::regex_replace(text, track, "", once);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return plainWords(text);
}

TEST(SameSongTest, AgreesWithTheRegularExpressionsOnRandomTexts) {
    const char* const pieces[] = {"(",  ")",  "[",   "]",    "-",   "_",    ".",        " ",
                                  "  ", "\t", "1",   "02",   "345", "6789", "cd",       "CD",
                                  "c",  "d",  "Mp3", "320",  "vbr", "song", "LossLess", "kbps",
                                  "x",  ")",  "(",   "12-3", " - ", "7.",   "é"};
    std::mt19937 random(1);
    for (int round = 0; round < 30'000; ++round) {
        std::string text;
        for (auto left = random() % 9; left > 0; --left)
            text += pieces[random() % (std::size(pieces) - 1)]; // ASCII only
        ASSERT_EQ(normalize(text), normalizeByRegex(text)) << '"' << text << '"';
    }
}

TEST(SameSongTest, LongTextsAreSafe) {
    const std::size_t length = 2'000'000;
    EXPECT_EQ(normalize(std::string(length, '(')), "");
    EXPECT_EQ(normalize(std::string(length, '1')).size(), length);
    EXPECT_EQ(normalize("cd1" + std::string(length, ' ') + "5." + std::string(length, ' ') + "x"),
              "x");
    EXPECT_EQ(normalize(std::string(length, ')') + "(" + std::string(length, 'z') + "320)"), "");
    std::string pairs;
    for (std::size_t i = 0; i < length / 4; ++i)
        pairs += "(320";
    EXPECT_EQ(normalize(pairs + ")x"), "x");
}

// --- Keys ---------------------------------------------------------------------------------------

std::string keyOf(const char* name, const char* artist = "", const char* title = "") {
    AudioMeta meta;
    meta.artist = artist;
    meta.title = title;
    return songKey(name, &meta).value_or("none");
}

TEST(SameSongTest, KeysComeFromTagsElseFromNamesThatTellEnough) {
    EXPECT_EQ(keyOf("x.mp3", "The Band", "A Song (320 kbps)"), "the band|a song");
    EXPECT_EQ(keyOf("x.mp3", "A", "A Song"), "none") << "too short after normalising";
    EXPECT_EQ(keyOf("x.mp3", "The Band", "(MP3)"), "none");
    EXPECT_EQ(keyOf("Band - Song.mp3", "The Band", ""), "f|band song") << "both tags are needed";
    EXPECT_EQ(keyOf("Band - Song.mp3"), keyOf("BAND - song (FLAC).flac"));
    EXPECT_EQ(keyOf("Band-Song by Night.mp3"), "none") << "no spaced hyphen";
    EXPECT_EQ(keyOf("Abc - Def.mp3"), "none") << "seven characters";
    EXPECT_EQ(keyOf("Abc - Defg.mp3"), "f|abc defg");
    EXPECT_EQ(keyOf("日本 - 歌.mp3"), "none") << "characters count, not bytes";
    EXPECT_EQ(keyOf("f|x.mp3", "f", "band song"), "none");
    EXPECT_EQ(songKey("Band - Song.mp3", nullptr), "f|band song");
}

// --- Clusters -----------------------------------------------------------------------------------

using Clusters = std::vector<std::vector<std::uint32_t>>;

Clusters clustersOf(const std::vector<std::uint32_t>& durations, std::uint32_t tolerance) {
    std::vector<SongFile> files;
    for (std::uint32_t i = 0; i < durations.size(); ++i)
        files.push_back({songDigest("key"), durations[i], i});
    return clusterSongs(files, tolerance);
}

TEST(SameSongTest, ClustersHoldWhatLiesWithinTheTolerance) {
    EXPECT_EQ(clustersOf({180'000, 182'000}, 2000), (Clusters{{0, 1}}));
    EXPECT_EQ(clustersOf({180'000, 182'001}, 2000), Clusters{});
    EXPECT_EQ(clustersOf({5000, 4000, 2500, 1000}, 2000), (Clusters{{0, 1}, {2, 3}}))
        << "a chain is no cluster";
    EXPECT_EQ(clustersOf({0, 1, 0, 3000, 2}, 2000), (Clusters{{0, 2}, {1, 4}}))
        << "unknown lengths are like no known one";
    EXPECT_EQ(clustersOf({0xFFFFFFFF, 1, 0xFFFFFFFE}, 0xFFFFFFFF), (Clusters{{0, 1, 2}}));
}

/// By going through all files again and again: the shortest that is left takes all within reach.
Clusters clustersByEnumeration(const std::vector<SongFile>& files, std::uint32_t tolerance) {
    std::vector<SongFile> left = files;
    Clusters out;
    while (!left.empty()) {
        const auto least = [](const SongFile& x, const SongFile& y) {
            return x.durationMs < y.durationMs;
        };
        const SongFile first = *std::min_element(left.begin(), left.end(), least);
        std::vector<std::uint32_t> cluster;
        std::vector<SongFile> others;
        for (const SongFile& file : left) {
            const bool belongs = file.key == first.key &&
                                 (file.durationMs == 0) == (first.durationMs == 0) &&
                                 std::int64_t{file.durationMs} - first.durationMs <= tolerance;
            if (belongs)
                cluster.push_back(file.cand);
            else
                others.push_back(file);
        }
        if (cluster.size() >= 2)
            out.push_back(cluster);
        left = others;
    }
    std::sort(out.begin(), out.end());
    return out;
}

TEST(SameSongTest, AgreesWithEnumerationOnRandomFiles) {
    std::mt19937 random(2);
    for (int round = 0; round < 500; ++round) {
        std::vector<SongFile> files;
        const unsigned keys = 1 + random() % 4;
        const auto count = static_cast<std::uint32_t>(random() % 40);
        for (std::uint32_t i = 0; i < count; ++i)
            files.push_back({songDigest(std::to_string(random() % keys)),
                             static_cast<std::uint32_t>(random() % 12) * 500, i});
        std::vector<SongFile> shared = files;
        dropLoneKeys(shared);
        for (std::uint32_t tolerance : {0, 499, 500, 2000}) {
            const Clusters wanted = clustersByEnumeration(files, tolerance);
            ASSERT_EQ(clusterSongs(files, tolerance), wanted);
            ASSERT_EQ(clusterSongs(shared, tolerance), wanted) << "lone keys make no cluster";
        }
        std::map<Digest128, int> counts;
        for (const SongFile& file : files)
            ++counts[file.key];
        std::erase_if(files, [&](const SongFile& file) { return counts[file.key] < 2; });
        std::sort(files.begin(), files.end());
        ASSERT_EQ(shared, files);
    }
}

TEST(SameSongTest, AMillionFilesOfOneNameCluster) {
    std::vector<SongFile> files;
    for (std::uint32_t i = 0; i < 1'000'000; ++i)
        files.push_back({songDigest("intro"), 1 + (i * 7919) % 500'000, i});
    const Clusters clusters = clusterSongs(files, 2000);
    EXPECT_EQ(clusters.size(), 250U); // of 2,001 lengths each, twice
    std::size_t total = 0;
    for (const auto& cluster : clusters)
        total += cluster.size();
    EXPECT_EQ(total, files.size());
}

} // namespace
} // namespace quarrydex
