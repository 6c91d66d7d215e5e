/// What is said of a volume in the status line and in lists, in the language in effect.
/// Threads: the main thread. Fails: never.
#pragma once

#include <cstdint>
#include <string>

namespace quarrydex {

struct VolumeState;

/// What follows the volume's name and count: " · scanning …", " · updating …", " · not connected",
/// or nothing for a volume that is up to date.
[[nodiscard]] std::string statusSuffix(const VolumeState& volume);

/// A sentence on what the volume is doing, or how current it is; empty when there is nothing to
/// say.
[[nodiscard]] std::string statusSentence(const VolumeState& volume);

/// Of a volume that is not connected, for a list in which its name stands: "not connected ·
/// 12 entries · as of …".
[[nodiscard]] std::string offlineSummary(const VolumeState& volume);

/// Why changes in some folders show late, and the way to mend it; empty when none do.
[[nodiscard]] std::string watchNotice(const VolumeState& volume);

/// A date and time as the system's locale writes it. Seconds since 1970-01-01 UTC.
[[nodiscard]] std::string localDateTime(std::int64_t time);

} // namespace quarrydex
