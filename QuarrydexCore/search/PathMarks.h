/// What a path term needs to know of folders, worked out once a search.
///
/// Folders have larger ids than the folders they lie in, so one ascending walk settles them all.
/// Text is compared folded: path terms ignore case and accents.
#pragma once

#include "QuarrydexCore/search/OpSet.h"

#include <cstdint>
#include <string_view>

namespace quarrydex {

/// `dirHits`: bit per id below n, set for every folder whose folded name holds the text or that
/// lies inside such a folder.
[[nodiscard]] BitWords
dirHits(const VolumeIndex& index, const ops::Text& text, std::uint32_t n, unsigned threads);

/// The marks by which an entry's full path is known to hold `needle`. A name holds no slash, so a
/// match either lies within the path of the entry's folder, or the needle's last slash is the one
/// in front of the name. REQUIRES: the needle is folded and holds a slash.
[[nodiscard]] ops::PathFull
pathMarks(const VolumeIndex& index, std::string_view needle, std::uint32_t n, unsigned threads);

} // namespace quarrydex
