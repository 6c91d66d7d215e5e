/// Which entries a path term finds, worked out once a search.
///
/// Folders have larger ids than the folders they lie in, so one ascending walk settles them all;
/// and the children of a folder stand together, so the walk looks at a folder once and not once an
/// entry. Text is compared folded: path terms ignore case and accents.
#pragma once

#include "QuarrydexCore/search/OpSet.h"

#include <cstdint>
#include <string_view>

namespace quarrydex {

/// Both have a bit per id below n.
struct PathMarks {
    BitWords folders; ///< folders everything below which is found
    BitWords entries; ///< entries that are found
};

/// `dirHits`: marks every folder whose folded name holds the text or that lies inside such a
/// folder, and finds the entries whose folder is marked.
[[nodiscard]] PathMarks
dirHits(const VolumeIndex& index, const ops::Text& text, std::uint32_t n, unsigned threads);

/// Finds the entries whose full path holds `needle`, and marks the folders among them. A name holds
/// no slash, so a match either lies within the path of the entry's folder, or the needle's last
/// slash is the one in front of the name. REQUIRES: the needle is folded and holds a slash.
[[nodiscard]] PathMarks
pathHits(const VolumeIndex& index, std::string_view needle, std::uint32_t n, unsigned threads);

} // namespace quarrydex
