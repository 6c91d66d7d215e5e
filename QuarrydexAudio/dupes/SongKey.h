/// Which recording a file holds, as far as its tags or its name tell: a text that is the same for
/// the same song in another format, whatever its case, accents, track number or quality tags.
///
/// Threads: any; no state. Failure: none; bytes that are not UTF-8 count as letters, so that names
/// in foreign encodings stay different. Every step goes over the text once and calls nothing in
/// itself: texts of any length are safe.
#pragma once

#include "QuarrydexCore/audio/AudioMeta.h"

#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

/// `normalize(text)`, in this order:
///
///   1. folded (text/Fold.h)           "02. Song (320 KBPS) – Mötley" → "02. song (320 kbps) –
///   motley"
///   2. quality tags in brackets removed                              → "02. song  – motley"
///   3. leading "disc-track", then a leading track number removed     → "song  – motley"
///   4. only letters, marks and digits kept, words joined by one space → "song motley"
[[nodiscard]] std::string normalize(std::string_view text);

/// `songKey(cand, meta)`: "artist|title" of the tags when both have two characters or more after
/// normalising; else "f|" and the file name without its extension, when it holds " - " and has
/// eight characters or more; else nothing. `name` is the file's name, not its path.
[[nodiscard]] std::optional<std::string> songKey(std::string_view name, const AudioMeta* meta);

/// The name without its last ".ext"; a name that has only its first dot stays as it is.
[[nodiscard]] std::string_view withoutExtension(std::string_view name);

} // namespace quarrydex
