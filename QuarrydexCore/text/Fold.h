/// Case- and accent-insensitive folding, the same for names and for what is searched.
///
/// Unicode: canonical decomposition, case folding, combining marks removed (but U+3099 and U+309A:
/// the voicing marks of kana tell letters apart), then canonical composition, so that Hangul keeps
/// its length. No locale. Bytes that are not UTF-8 are copied as they are; A–Z become a–z.
/// Threads: any; no state.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarrydex {

/// Pads a folded name that is shorter than the name. Never matches what is searched.
inline constexpr char foldFiller = 0x01;

/// Raised whenever fold() gives another result for some text; stored catalogues name it.
inline constexpr unsigned foldScheme = 1;

/// Folds a text, which may become shorter or longer. Used for query text.
[[nodiscard]] std::string fold(std::string_view text);

/// Folds a name of n bytes into out[n]: cut at n bytes, or filled up with foldFiller. This is the
/// routine that the entry store is given.
void foldName(const char* name, std::size_t n, char* out);

/// The folded name without its filler. Only a name with bytes ≥ 0x80 can have any.
[[nodiscard]] inline std::string_view withoutFiller(std::string_view folded) {
    while (!folded.empty() && folded.back() == foldFiller)
        folded.remove_suffix(1);
    return folded;
}

} // namespace quarrydex
