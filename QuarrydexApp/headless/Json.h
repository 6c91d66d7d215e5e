/// JSON output of file names and numbers, byte-exact where a name is no UTF-8.
/// Threads: any; no state.
#pragma once

#include <string>
#include <string_view>

namespace quarrydex {

struct AudioMeta;

/// True when every byte belongs to a UTF-8 character.
[[nodiscard]] bool isUtf8(std::string_view bytes);

/// Appends the text in quotes. Bytes that are no UTF-8 become U+FFFD.
void appendJsonString(std::string& out, std::string_view text);

/// Appends the bytes in base64 (with "=" at the end), in quotes.
void appendBase64(std::string& out, std::string_view bytes);

/// Appends the record as an object with its fields under their names.
void appendAudioJson(std::string& out, const AudioMeta& meta);

} // namespace quarrydex
