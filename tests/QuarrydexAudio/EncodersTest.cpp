// Files as the common encoders write them, made when the test runs, and what an independent reader
// (ffprobe) says of them.

#include "QuarrydexAudio/tags/AudioParser.h"

#include "tests/support/DescribeAudio.h"
#include "tests/support/LoopImage.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quarrydex {

namespace {

using nlohmann::json;

Outcome runShell(const std::string& command) {
    return runProgram("/bin/sh", {"-c", command}, {.environment = {{"LC_ALL", "C.UTF-8"}}});
}

/// The Python that has the tag library: the system's, where another one comes first.
constexpr const char* findPython =
    "python=python3; $python -c 'import mutagen' 2>/dev/null || python=/usr/bin/python3; ";

std::string toolLack() {
    std::string lack;
    for (const char* const tool : {"flac", "lame", "ffmpeg", "ffprobe"})
        if (runShell("command -v " + std::string(tool)).status != 0)
            lack += std::string(lack.empty() ? "" : ", ") + tool;
    if (runShell(std::string(findPython) + "$python -c 'import mutagen'").status != 0)
        lack += std::string(lack.empty() ? "" : ", ") + "python3 with mutagen";
    return lack.empty() ? "" : lack + " not installed";
}

/// Five seconds of noise, and what is encoded from it.
constexpr const char* encode = R"sh(
set -e
ff() { ffmpeg -nostdin -v error "$@"; }
ff -f lavfi -i anoisesrc=d=5:c=pink:r=44100:a=0.3:seed=1 -ac 2 -c:a pcm_s16le -bitexact cd.wav
lame --quiet -b 128 cd.wav cbr.mp3
lame --quiet -V2 cd.wav vbr.mp3
lame --quiet --abr 140 cd.wav abr.mp3
lame --quiet -t -b 192 -m m cd.wav headless.mp3
lame --quiet -b 64 --resample 22.05 -m m cd.wav mpeg2.mp3
lame --quiet -b 16 --resample 8 -m m cd.wav mpeg25.mp3
ff -i cd.wav -c:a mp2 -b:a 192k layer2.mp2
ff -i cd.wav -c:a libmp3lame -q:a 4 ff.mp3
flac -s cd.wav -o cd.flac
ff -i cd.wav -ar 96000 -ac 1 -sample_fmt s32 -bits_per_raw_sample 24 studio.flac
ff -i cd.wav -c:a pcm_s24le studio.wav
ff -i cd.wav -c:a pcm_f32le -ac 6 float.wav
ff -i cd.wav -c:a pcm_alaw alaw.wav
ff -i cd.wav cd.aiff
ff -i cd.wav -c:a pcm_s24be -ar 48000 studio.aiff
ff -i cd.wav -c:a pcm_f32be float.aiff
ff -i cd.wav -c:a pcm_s16le little.aiff
ff -i cd.wav -c:a aac -b:a 128k aac.m4a
ff -i cd.wav -c:a alac -movflags +faststart alac.m4a
ff -i cd.wav -ar 96000 -c:a alac -sample_fmt s32p studio.m4a
)sh";

/// Tags by the encoders' own options, and by a tag library.
constexpr const char* tag = R"sh(
set -e
ff() { ffmpeg -nostdin -v error "$@"; }
texts() { out=$1; shift; ff -i cd.wav "$@" -metadata title=Hoppípolla -metadata artist='Sigur Rós' \
    -metadata album=Takk… -metadata date=2005-09-12 -metadata genre=Post-Rock "$out"; }
texts ff3.mp3 -id3v2_version 3 -b:a 128k
texts ff4.mp3 -id3v2_version 4 -b:a 128k
texts ff.flac
texts ff.m4a -c:a aac
texts ff.aiff -write_id3v2 1
texts ff.wav
lame --quiet -b 128 --tt Hoppípolla --ta 'Sigur Rós' --tl Takk… --ty 2005 --tg Post-Rock cd.wav lame.mp3
flac -s --tag=TITLE=Hoppípolla --tag='ARTIST=Sigur Rós' --tag=ALBUM=Takk… --tag=DATE=2005-09-12 \
    --tag=GENRE=Post-Rock cd.wav -o own.flac
)sh";

constexpr const char* tagByLibrary = R"py(
import shutil
from mutagen import id3, mp4, wave, aiff, flac

def frames(encoding):
    return [id3.TIT2(encoding, "Hoppípolla"), id3.TPE1(encoding, "Sigur Rós"),
            id3.TALB(encoding, "Takk…"), id3.TDRC(encoding, "2005-09-12"),
            id3.TCON(encoding, "Post-Rock"), id3.TBPM(0, "128,5"), id3.TKEY(0, "Am"),
            id3.APIC(0, "image/png", 3, "", b"\x89PNG" + bytes(200000))]

def copy(source, name):
    shutil.copy(source, name)
    return name

for name, version, encoding in (("utf16.mp3", 3, 1), ("utf16be.mp3", 4, 2), ("utf8.mp3", 4, 3)):
    tag = id3.ID3()
    for frame in frames(encoding):
        tag.add(frame)
    tag.save(copy("headless.mp3", name), v2_version=version)
for kind, name in ((wave.WAVE, "library.wav"), (aiff.AIFF, "library.aiff")):
    file = kind(copy("cd" + name[name.rindex("."):], name))
    file.add_tags()
    for frame in frames(3):
        file.tags.add(frame)
    file.save()

file = flac.FLAC(copy("cd.flac", "library.flac"))
file.update({"title": "Hoppípolla", "artist": ["Sigur Rós", "Someone"], "album": "Takk…",
             "date": "2005-09-12", "genre": "Post-Rock", "bpm": "128,5", "initialkey": "Am"})
picture = flac.Picture()
picture.data = bytes(200000)
file.add_picture(picture)
file.save()

file = mp4.MP4(copy("alac.m4a", "library.m4a"))
file["\xa9nam"], file["\xa9ART"], file["\xa9alb"] = "Hoppípolla", "Sigur Rós", "Takk…"
file["\xa9day"], file["\xa9gen"] = "2005-09-12", "Post-Rock"
file["----:com.apple.iTunes:initialkey"] = b"Am"
file["----:com.apple.iTunes:BPM"] = b"128,5"
file["covr"] = [mp4.MP4Cover(bytes(200000))]
file.save()
)py";

/// The files of the whole suite, made once.
class EncodersTest : public ::testing::Test {
  protected:
    static void TearDownTestSuite() { tree.reset(); }

    void SetUp() override {
        QDX_NEEDS(toolLack());
        if (tree)
            return;
        tree = std::make_unique<TempTree>();
        tree->file("tag.py", std::string_view(tagByLibrary));
        for (const std::string& script :
             {std::string(encode), std::string(tag), std::string(findPython) + "$python tag.py"}) {
            const Outcome made = runShell("cd '" + tree->path() + "' && " + script);
            ASSERT_EQ(made.status, 0) << made.err;
        }
    }

    static AudioMeta ours(const std::string& name) {
        const auto meta = AudioParser::parse(tree->path(name), name.substr(name.rfind('.') + 1));
        EXPECT_TRUE(meta.has_value()) << name;
        return meta.value_or(AudioMeta{});
    }

    static json theirs(const std::string& name) {
        const Outcome outcome = runShell("ffprobe -v error -of json -show_format -show_streams '" +
                                         tree->path(name) + "'");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }

    static std::unique_ptr<TempTree> tree;
};

std::unique_ptr<TempTree> EncodersTest::tree;

/// A number that the reader gives as text, 0 where it gives none.
double number(const json& object, const char* key) {
    return object.contains(key) ? std::stod(object[key].get<std::string>()) : 0;
}

/// Tags of the whole file under lower-case keys.
std::map<std::string, std::string> tagsOf(const json& probe) {
    std::map<std::string, std::string> tags;
    const json all = probe["format"].value("tags", json::object());
    for (const auto& [key, value] : all.items()) {
        std::string lower = key;
        for (char& c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        tags[lower] = value.get<std::string>();
    }
    return tags;
}

TEST_F(EncodersTest, StreamPropertiesAreThoseOfAnIndependentReader) {
    struct Case {
        const char* name;
        AudioCodec codec;
        bool vbr;
        /// Whole samples are exact; an MP4 movie counts its own milliseconds; without a header in
        /// the stream an MPEG file's length is only as exact as one frame.
        double durationMs;
        double bitrate; ///< a share of the bit rate
    };

    const Case cases[] = {
        {"cbr.mp3", AudioCodec::mp3, false, 1, 0.02},
        {"vbr.mp3", AudioCodec::mp3, true, 1, 0.01},
        {"abr.mp3", AudioCodec::mp3, true, 1, 0.01},
        {"headless.mp3", AudioCodec::mp3, false, 27, 0},
        {"mpeg2.mp3", AudioCodec::mp3, false, 1, 0.02},
        {"mpeg25.mp3", AudioCodec::mp3, false, 1, 0.02},
        {"layer2.mp2", AudioCodec::mp3, false, 27, 0},
        {"ff.mp3", AudioCodec::mp3, true, 1, 0.01},
        {"cd.flac", AudioCodec::flac, false, 1, 0.03}, // the reader counts metadata as audio
        {"studio.flac", AudioCodec::flac, false, 1, 0.03},
        {"cd.wav", AudioCodec::pcm, false, 1, 0},
        {"studio.wav", AudioCodec::pcm, false, 1, 0},
        {"float.wav", AudioCodec::float_, false, 1, 0},
        {"alaw.wav", AudioCodec::other, false, 1, 0},
        {"cd.aiff", AudioCodec::aiff, false, 1, 0},
        {"studio.aiff", AudioCodec::aiff, false, 1, 0},
        {"float.aiff", AudioCodec::float_, false, 1, 0},
        {"little.aiff", AudioCodec::aiff, false, 1, 0},
        {"aac.m4a", AudioCodec::aac, false, 2, 0.01},
        {"alac.m4a", AudioCodec::alac, false, 2, 0.01},
        {"studio.m4a", AudioCodec::alac, false, 2, 0.01},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const AudioMeta meta = ours(c.name);
        const json probe = theirs(c.name);
        const json& stream = probe["streams"][0];
        EXPECT_EQ(meta.codec, c.codec);
        EXPECT_EQ(meta.vbr, c.vbr);
        EXPECT_EQ(meta.sampleRate, number(stream, "sample_rate"));
        EXPECT_EQ(meta.channels, stream["channels"].get<int>());
        EXPECT_NEAR(meta.durationMs, number(probe["format"], "duration") * 1000, c.durationMs);
        const double streamRate = number(stream, "bit_rate");
        const double bitrate =
            (streamRate > 0 ? streamRate : number(probe["format"], "bit_rate")) / 1000;
        EXPECT_NEAR(meta.bitrateKbps, bitrate, 1 + c.bitrate * bitrate);
        const double rawBits = number(stream, "bits_per_raw_sample");
        const double bits = rawBits > 0 ? rawBits : stream["bits_per_sample"].get<int>();
        EXPECT_TRUE(bits == 0 || meta.bits == bits) << bits;
    }
}

TEST_F(EncodersTest, TextsAreThoseThatWereWritten) {
    for (const std::string name : {"ff3.mp3", "ff4.mp3", "ff.flac", "ff.m4a", "ff.aiff", "ff.wav",
                                   "lame.mp3", "own.flac", "utf16.mp3", "utf16be.mp3", "utf8.mp3",
                                   "library.wav", "library.aiff", "library.flac", "library.m4a"}) {
        const bool hasTempoAndKey = name.starts_with("utf") || name.starts_with("library");
        SCOPED_TRACE(name);
        const AudioMeta meta = ours(name);
        EXPECT_EQ(meta.title, "Hoppípolla");
        EXPECT_EQ(meta.artist, "Sigur Rós");
        EXPECT_EQ(meta.album, "Takk…");
        EXPECT_EQ(meta.genre, "Post-Rock");
        EXPECT_EQ(meta.year, 2005);
        EXPECT_EQ(meta.bpm10, hasTempoAndKey ? 1285 : 0);
        EXPECT_EQ(meta.key, hasTempoAndKey ? "Am" : "");
        auto tags = tagsOf(theirs(name));
        EXPECT_EQ(tags["title"], meta.title);
        EXPECT_EQ(tags["album"], meta.album);
    }
}

} // namespace

} // namespace quarrydex
