/// What it costs to read the tags of audio files, against TagLib and against the bare system calls.
#include "QuarrydexAudio/tags/AudioParser.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/ParallelFor.h"

#include "benchmarks/support/AudioFiles.h"
#include "benchmarks/support/Bench.h"
#include "benchmarks/support/TagLibRecord.h"

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex::bench {

namespace {

using Paths = std::vector<std::string>;

constexpr std::size_t smallFiles = 2000;
constexpr std::size_t rounds = 9;

std::optional<AudioMeta> ourRecord(const std::string& path) {
    return AudioParser::parse(path, std::string_view(path).substr(path.rfind('.') + 1));
}

/// The calls that reading a tagged file takes, and nothing else.
void callOnly(const std::string& path) {
    constexpr off_t reads = 11;
    std::array<char, 128> buffer;
    const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));

    struct stat status {};

    ::fstat(fd.get(), &status);
    for (off_t i = 0; i < reads; ++i)
        keep(::pread(fd.get(), buffer.data(), buffer.size(), i * 512));
}

/// Calls each(path) for all files, in slices, on so many threads.
template <typename Each> void forAll(const Paths& paths, unsigned threads, const Each& each) {
    constexpr std::size_t slice = 50;
    parallelFor((paths.size() + slice - 1) / slice, threads, [&](std::size_t i) {
        const std::size_t end = std::min(paths.size(), (i + 1) * slice);
        for (std::size_t at = i * slice; at < end; ++at)
            keep(each(paths[at]));
    });
}

bool isNear(std::uint32_t a, std::uint32_t b, std::uint32_t slack) {
    return (a > b ? a - b : b - a) <= slack;
}

/// Equal but for rounding, and for what is meant to differ: of an MP4 file we give the length of
/// the movie, not of its track with the silence that an AAC encoder puts before the sound, the
/// sample size that an AAC track states, and the bit rate that an ALAC file has, not what it says.
bool sameProperties(const AudioMeta& ours, const AudioMeta& theirs) {
    const bool isAac = ours.codec == AudioCodec::aac;
    const std::uint32_t slackMs = isAac ? 25 : 1;
    const std::uint32_t slackKbps = 1 + ours.bitrateKbps / 50U;
    return ours.codec == theirs.codec && ours.sampleRate == theirs.sampleRate &&
           ours.channels == theirs.channels && (isAac || ours.bits == theirs.bits) &&
           isNear(ours.durationMs, theirs.durationMs, slackMs) &&
           (ours.codec == AudioCodec::alac ||
            isNear(ours.bitrateKbps, theirs.bitrateKbps, slackKbps));
}

bool sameTexts(const AudioMeta& ours, const AudioMeta& theirs) {
    return ours.title == theirs.title && ours.artist == theirs.artist &&
           ours.album == theirs.album && ours.genre == theirs.genre && ours.key == theirs.key &&
           ours.year == theirs.year && ours.bpm10 == theirs.bpm10;
}

void reportDifferences(Report& report, const Paths& paths, const std::string& which) {
    std::size_t differing = 0;
    for (const std::string& path : paths) {
        const auto ours = ourRecord(path);
        const auto theirs = tagLibRecord(path);
        const bool isSame =
            ours && theirs && sameProperties(*ours, *theirs) && sameTexts(*ours, *theirs);
        differing += isSame ? 0 : 1;
    }
    report.row({.step = which + ", records that differ",
                .ours = static_cast<double>(differing),
                .unit = Unit::count});
}

/// TagLib's time divided by `factor` is the goal.
void compareWithTagLib(
    Report& report, const Paths& paths, unsigned threads, const std::string& step, double factor) {
    const auto [ours, theirs] = alternate(
        rounds, [&] { forAll(paths, threads, ourRecord); },
        [&] { forAll(paths, threads, tagLibRecord); });
    report.row(
        {.step = step + ", " + std::to_string(threads) + (threads == 1 ? " thread" : " threads"),
         .ours = ours.wallMs * 1000 / static_cast<double>(paths.size()),
         .anchor = theirs.wallMs * 1000 / static_cast<double>(paths.size()),
         .anchorName = "TagLib",
         .goal = 1 / factor,
         .unit = Unit::usPerEntry});
}

void compareWithCalls(Report& report, const Paths& paths) {
    const auto [ours, calls] = alternate(
        rounds, [&] { forAll(paths, 1, ourRecord); },
        [&] {
            forAll(paths, 1, [](const std::string& path) {
                callOnly(path);
                return 0;
            });
        });
    report.row({.step = "small files, 1 thread",
                .ours = ours.wallMs * 1000 / static_cast<double>(paths.size()),
                .anchor = calls.wallMs * 1000 / static_cast<double>(paths.size()),
                .anchorName = "open, fstat, 11 reads",
                .unit = Unit::usPerEntry});
}

} // namespace

QDX_BENCH(tags) {
    const AudioFiles files(AudioFiles::Size::small, smallFiles);
    if (files.paths().empty()) {
        report.skip("small files", "ffmpeg makes no audio files here");
        return;
    }
    compareWithCalls(report, files.paths());
    if (!hasTagLib()) {
        report.skip("small files, against TagLib", "TagLib was not there when this was built");
        return;
    }
    compareWithTagLib(report, files.paths(), 1, "small files", 5);
    compareWithTagLib(report, files.paths(), 2, "small files", 5);
    reportDifferences(report, files.paths(), "small files");
}

QDX_BENCH(tags) {
    if (!hasTagLib()) {
        report.skip("large files, against TagLib", "TagLib was not there when this was built");
        return;
    }
    const AudioFiles files(AudioFiles::Size::large, 0);
    if (files.paths().empty()) {
        report.skip("large files", "ffmpeg makes no audio files here");
        return;
    }
    Paths repeated;
    for (int i = 0; i < 100; ++i)
        repeated.insert(repeated.end(), files.paths().begin(), files.paths().end());
    compareWithTagLib(report, repeated, 1, "files of 30 MB and more", 1.5);
    reportDifferences(report, files.paths(), "files of 30 MB and more");
}

} // namespace quarrydex::bench
