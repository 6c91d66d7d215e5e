/// What a file is, told by its name alone: the sign in front of it and the text of the kind column.
/// Threads: any; no state. Fails: never.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarrydex {

enum class FileKind : std::uint8_t {
    folder,
    link,
    audio,
    video,
    image,
    document,
    archive,
    code,
    program,
    font,
    diskImage,
    other
};

/// `flags` are EntryFlags; the extension is folded, empty for none.
[[nodiscard]] FileKind kindOf(std::uint8_t flags, std::string_view ext);

/// Of look/Symbols.h.
[[nodiscard]] std::string_view symbolOf(FileKind kind);

/// What the kind column says: "MP3 audio", or just "Audio".
enum class KindStyle : std::uint8_t { exact, general };

/// As stored under "kindStyle": "general"; anything else counts as "exact".
[[nodiscard]] KindStyle kindStyleOf(std::string_view stored);

/// In the language in effect.
[[nodiscard]] std::string kindText(FileKind kind, std::string_view ext, KindStyle style);

} // namespace quarrydex
