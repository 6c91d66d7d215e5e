/// Case- and accent-insensitive folding, the same for names and for what is searched.
///
/// Every code point is folded alone, whatever stands beside it, so that a part of a text folds to a
/// part of the folded text:
///
///   1. canonical decomposition         É → E + U+0301
///   2. diacritics removed              → E
///   3. full case folding               → e      ß → ss, final ς → σ, ﬁ → fi
///   4. canonical composition           が, 한 and क्षि keep their length in bytes
///
/// A diacritic is a mark that a hasty writer leaves out: accents of every script, Hebrew and Arabic
/// points, the Indic nukta, overlays (≠ → =), enclosing marks, and variation selectors. Marks that
/// spell the word stay: vowel signs, viramas, Thai and Lao tones, and the voicing marks of kana
/// (が is not か). Texts that are canonically equivalent fold to the same bytes. There is no
/// locale: İ → i, and ı stays ı.
///
/// Bytes that are not UTF-8 are copied as they are. fold(fold(x)) == fold(x) for all bytes x.
/// Threads: any; a scratch buffer a thread. Fails: never; allocation failure ends the process.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarrydex {

/// Pads a folded name that is shorter than the name. Never matches what is searched.
inline constexpr char foldFiller = 0x01;

/// Raised whenever fold() gives another result for some text; stored catalogues name it, together
/// with foldUnicodeVersion().
inline constexpr unsigned foldScheme = 1;

/// The version of the Unicode tables in use, for example "15.0.0".
[[nodiscard]] std::string_view foldUnicodeVersion();

/// Folds a text, which may become shorter or longer. Used for query text.
[[nodiscard]] std::string fold(std::string_view text);

/// Folds a name of n bytes into out[n]: cut at n bytes (through a character, where it so falls), or
/// filled up with foldFiller. This is the routine that the entry store is given.
void foldName(const char* name, std::size_t n, char* out);

/// The folded name without its filler. Only a name with bytes ≥ 0x80 can have any.
[[nodiscard]] inline std::string_view withoutFiller(std::string_view folded) {
    while (!folded.empty() && folded.back() == foldFiller)
        folded.remove_suffix(1);
    return folded;
}

} // namespace quarrydex
