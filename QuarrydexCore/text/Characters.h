/// Text as the reader sees it: characters (grapheme clusters) instead of bytes, and lower case.
///
/// A quote or a space followed by a combining mark is another character than the bare one;
/// splitting by bytes would tear the two apart. Threads: any; no state. Fails: never; a byte that
/// is not UTF-8 is a character of its own.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarrydex {

/// Bytes of the character with which the text begins. REQUIRES: the text is not empty.
[[nodiscard]] std::size_t firstCharacterSize(std::string_view text);

/// Number of characters.
[[nodiscard]] std::size_t characterCount(std::string_view text);

/// Offset of the first character that is exactly this ASCII one, or npos.
[[nodiscard]] std::size_t findCharacter(std::string_view text, char wanted);

/// Lower case by code points, without a locale; only letters with a single lower-case form change.
[[nodiscard]] std::string lowerCased(std::string_view text);

} // namespace quarrydex
