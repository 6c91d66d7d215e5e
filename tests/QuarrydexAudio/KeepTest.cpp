#include "QuarrydexAudio/dupes/DupTypes.h"

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

TEST(KeepTest, TheFileToKeepIsTheBestOldestShortest) {
    const auto made = [](const char* path, std::uint32_t mtime, std::optional<AudioMeta> meta) {
        DupMember one{.path = path};
        one.mtime = mtime;
        one.meta = std::move(meta);
        return one;
    };
    AudioMeta lossless;
    lossless.codec = AudioCodec::alac;
    AudioMeta mp3;
    mp3.codec = AudioCodec::mp3;
    mp3.bitrateKbps = 65'535;
    AudioMeta better = lossless;
    better.bits = 24;
    AudioMeta faster = lossless;
    faster.sampleRate = 96'000;
    AudioMeta tagged = mp3;
    tagged.artist = "ÄÖÜ";
    AudioMeta dated = mp3;
    dated.year = 1999;
    AudioMeta timed = mp3;
    timed.bpm10 = 1200;
    AudioMeta keyed = mp3;
    keyed.key = "Abm";

    const std::pair<std::vector<DupMember>, std::size_t> cases[] = {
        {{}, 0},
        {{made("/a", 5, mp3)}, 0},
        {{made("/a", 5, mp3), made("/b", 9, lossless)}, 1},  // any lossless before any lossy
        {{made("/a", 5, faster), made("/b", 9, better)}, 1}, // 2,400 for bits, 96 for the rate
        {{made("/a", 5, lossless), made("/b", 9, faster)}, 1},
        {{made("/a", 5, {}), made("/b", 9, mp3)}, 1},
        {{made("/a", 5, mp3), made("/b", 9, tagged)}, 1},   // three characters
        {{made("/a", 5, tagged), made("/b", 9, dated)}, 1}, // four
        {{made("/a", 9, tagged), made("/b", 9, timed)}, 0}, // three, as many
        {{made("/a", 9, timed), made("/b", 5, keyed)}, 1},  // equal tags: the older
        {{made("/aa", 5, mp3), made("/b", 5, mp3)}, 1},     // the shorter path
        {{made("/ab", 5, mp3), made("/é", 5, mp3)}, 1},     // in characters
        {{made("/a", 5, mp3), made("/b", 5, mp3)}, 0},      // a tie
        {{made("/c", 7, mp3), made("/b", 6, mp3), made("/a", 6, mp3)}, 1},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(best(cases[i].first), cases[i].second) << "case " << i;
}

TEST(KeepTest, TheReasonIsWhatSetsTheBestApartFromTheNextBest) {
    const auto made = [](AudioCodec codec, int quality, const char* artist, std::uint32_t mtime) {
        DupMember one{.path = "/x"};
        one.mtime = mtime;
        one.meta.emplace();
        one.meta->codec = codec;
        one.meta->bits = static_cast<std::uint8_t>(quality);
        one.meta->bitrateKbps = static_cast<std::uint16_t>(quality);
        one.meta->artist = artist;
        return one;
    };
    const auto flac = [&](int bits) { return made(AudioCodec::flac, bits, "A", 5); };
    const auto mp3 = [&](int kbps, const char* artist = "A", std::uint32_t mtime = 5) {
        return made(AudioCodec::mp3, kbps, artist, mtime);
    };
    DupMember longPath = mp3(192);
    longPath.path = "/longer";
    const std::pair<std::vector<DupMember>, KeepReason> cases[] = {
        {{mp3(320), flac(16)}, KeepReason::lossless},
        {{flac(16), mp3(320), flac(24)}, KeepReason::resolution},
        {{mp3(192), mp3(320), mp3(128)}, KeepReason::bitRate},
        {{mp3(192), DupMember{}}, KeepReason::bitRate},
        {{flac(16), mp3(320), made(AudioCodec::flac, 16, "AB", 9)}, KeepReason::tags},
        {{mp3(192), mp3(192, "A", 4), mp3(128, "ABC", 1)}, KeepReason::age},
        {{longPath, mp3(192)}, KeepReason::path},
        {{mp3(192), mp3(192), mp3(128)}, KeepReason::position},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(keepReason(cases[i].first), cases[i].second) << "case " << i;
}

} // namespace
} // namespace quarrydex
