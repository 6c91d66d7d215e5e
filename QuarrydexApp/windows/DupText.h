/// How the duplicates window puts things: values of a member, headings of groups, and why a copy is
/// suggested. All in the language in effect.
/// Threads: the main thread; no state. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"

#include <QString>

#include <cstddef>
#include <string_view>

namespace quarrydex {

/// "3:05", "1:02:03"; empty when not known.
[[nodiscard]] QString durationText(const DupMember& member);

/// "MP3 · 320 kbit/s", or "FLAC · 16 bit · 44.1 kHz" of what loses nothing.
[[nodiscard]] QString qualityText(const DupMember& member);

[[nodiscard]] QString nameText(const DupMember& member);
[[nodiscard]] QString folderText(const DupMember& member);

/// "Artist – Title" of the copy to keep, else its file name.
[[nodiscard]] QString groupTitle(const DupGroup& group);

/// "identical", "same song", "same song · confirmed", …
[[nodiscard]] QString kindText(const DupGroup& group);

/// "3 copies · same song · confirmed · surplus: 12.4 MB"
[[nodiscard]] QString groupFacts(const DupGroup& group);

/// What the fingerprints say of the group, in a sentence; empty where none were compared.
[[nodiscard]] QString verdictText(const DupGroup& group);

/// Why one of the copies is suggested and, where another one is kept, which it was.
[[nodiscard]] QString reasonText(const DupGroup& group);

} // namespace quarrydex
