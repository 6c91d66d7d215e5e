/// The texts of a compiled message catalogue (.mo), as msgfmt writes it.
///
/// Nothing in the bytes is trusted: every offset and length is held to the size of the file.
/// Threads: any; no state. Failure: an absent value; never a part of the texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace quarrydex {

/// Translations by their English text. A counted text is found by its singular and holds one form
/// after the other, with a NUL between two.
using Texts = std::unordered_map<std::string, std::string>;

/// The texts of a little-endian catalogue in UTF-8. The header entry and texts with a context are
/// left out.
[[nodiscard]] std::optional<Texts> readMo(std::string_view bytes);

} // namespace quarrydex
