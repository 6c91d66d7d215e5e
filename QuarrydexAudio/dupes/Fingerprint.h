/// What a recording sounds like, by the program fpcalc, and how much two recordings sound alike.
/// Threads: any; no state. Failure: nothing, whatever went wrong.
#pragma once

#include "QuarrydexAudio/platform/ProcessLauncher.h"

#include <cstdint>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// About eight words a second.
using Fingerprint = std::vector<std::uint32_t>;

/// `fpcalcPath()`: an executable fpcalc: the one beside this program, else the one in
/// /opt/homebrew/bin, /usr/local/bin or a folder of PATH, in this order.
[[nodiscard]] std::optional<std::string> fpcalcPath();

/// The first of the paths, and then of the folders of a PATH, that is an executable file. Folders
/// that are not absolute are passed over.
[[nodiscard]] std::optional<std::string> findProgram(std::span<const std::string> places,
                                                     std::string_view pathVariable,
                                                     std::string_view name);

/// `fingerprint(path, fpcalc:, seconds:)`: of the beginning of the file. Nothing when fpcalc does
/// not start, fails, takes longer than a minute, or prints no fingerprint; fpcalc 1.5 fails for
/// files that are shorter than `seconds`.
[[nodiscard]] std::optional<Fingerprint> fingerprint(const std::string& path,
                                                     const std::string& fpcalc,
                                                     int seconds,
                                                     const ProcessLauncher& launcher,
                                                     const std::stop_token& stop = {});

/// `similarity(a, b)`: from 0 to 1, the largest part of equal bits over all shifts by up to eight
/// words either way that leave 40 words to compare; 0 when none does. Unlike recordings come to
/// about a half.
[[nodiscard]] double similarity(std::span<const std::uint32_t> a, std::span<const std::uint32_t> b);

} // namespace quarrydex
