#include "QuarrydexAudio/dupes/Fingerprint.h"

#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

bool isExecutableFile(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

/// What follows "FINGERPRINT=" at the beginning of a line.
std::optional<std::string_view> fingerprintLine(std::string_view output) {
    constexpr std::string_view label = "FINGERPRINT=";
    while (!output.empty()) {
        const std::size_t length = std::min(output.find('\n'), output.size());
        std::string_view line = output.substr(0, length);
        output.remove_prefix(std::min(length + 1, output.size()));
        if (!line.starts_with(label))
            continue;
        line.remove_prefix(label.size());
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        return line;
    }
    return std::nullopt;
}

/// Numbers with a "," between them; nothing when any of them is something else.
std::optional<Fingerprint> parseWords(std::string_view text) {
    Fingerprint words;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;;) {
        std::uint32_t word = 0;
        const auto [next, error] = std::from_chars(at, end, word);
        if (error != std::errc())
            return std::nullopt;
        words.push_back(word);
        if (next == end)
            return words;
        if (*next != ',')
            return std::nullopt;
        at = next + 1;
    }
}

} // namespace

std::optional<std::string> findProgram(std::span<const std::string> places,
                                       std::string_view pathVariable,
                                       std::string_view name) {
    for (const std::string& place : places)
        if (isExecutableFile(place))
            return place;
    while (!pathVariable.empty()) {
        const std::size_t length = std::min(pathVariable.find(':'), pathVariable.size());
        const std::string_view folder = pathVariable.substr(0, length);
        pathVariable.remove_prefix(std::min(length + 1, pathVariable.size()));
        if (!folder.starts_with('/'))
            continue;
        std::string path = childPath(folder, name);
        if (isExecutableFile(path))
            return path;
    }
    return std::nullopt;
}

std::optional<std::string> fpcalcPath() {
    const std::array<std::string, 3> places = {childPath(programFolder(), "fpcalc"),
                                               "/opt/homebrew/bin/fpcalc", "/usr/local/bin/fpcalc"};
    const char* path = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): nobody writes it
    return findProgram(places, path == nullptr ? "" : path, "fpcalc");
}

std::optional<Fingerprint> fingerprint(const std::string& path,
                                       const std::string& fpcalc,
                                       int seconds,
                                       const ProcessLauncher& launcher,
                                       const std::stop_token& stop) {
    const ProcessOutcome outcome = launcher.run(
        {.program = fpcalc, .arguments = {"-raw", "-length", std::to_string(seconds), path}}, stop);
    if (!outcome.succeeded())
        return std::nullopt;
    const auto line = fingerprintLine(outcome.out);
    return line ? parseWords(*line) : std::nullopt;
}

double similarity(std::span<const std::uint32_t> a, std::span<const std::uint32_t> b) {
    constexpr std::ptrdiff_t farthest = 8;
    constexpr std::ptrdiff_t leastOverlap = 40;
    double best = 0;
    for (std::ptrdiff_t shift = -farthest; shift <= farthest; ++shift) {
        // a[i] stands beside b[i + shift].
        const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(0, -shift);
        const std::ptrdiff_t end = std::min(std::ssize(a), std::ssize(b) - shift);
        if (end - begin < leastOverlap)
            continue;
        std::uint64_t differing = 0;
        for (std::ptrdiff_t i = begin; i < end; ++i)
            differing += static_cast<unsigned>(std::popcount(
                a[static_cast<std::size_t>(i)] ^ b[static_cast<std::size_t>(i + shift)]));
        const double bits = 32.0 * static_cast<double>(end - begin);
        best = std::max(best, 1 - static_cast<double>(differing) / bits);
    }
    return best;
}

} // namespace quarrydex
