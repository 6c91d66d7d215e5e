/// One step through text that should be UTF-8 and may not be.
/// Threads: any; no state. Fails: never.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <utf8proc.h>

namespace quarrydex {

struct CodePoint {
    std::int32_t value;     ///< -1 for a byte that belongs to no character
    std::uint8_t byteCount; ///< 1 … 4

    [[nodiscard]] bool isValid() const { return value >= 0; }
};

inline bool isAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

/// The code point with which the text begins. REQUIRES: the text is not empty.
inline CodePoint firstCodePoint(std::string_view text) {
    std::int32_t value = -1;
    const auto count = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                        static_cast<utf8proc_ssize_t>(text.size()), &value);
    if (count < 1)
        return {-1, 1};
    return {value, static_cast<std::uint8_t>(count)};
}

inline void appendCodePoint(std::string& out, std::int32_t value) {
    char bytes[4];
    const auto count = utf8proc_encode_char(value, reinterpret_cast<utf8proc_uint8_t*>(bytes));
    out.append(bytes, static_cast<std::size_t>(count));
}

} // namespace quarrydex
