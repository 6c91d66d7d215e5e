/// Numbers and codes out of foreign bytes: whatever lies beyond the bytes at hand is 0.
/// Threads: any; no state. Fails: never.
#pragma once

#include "QuarrydexCore/base/Bytes.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quarrydex {

/// Bytes that belong to the caller.
using Bytes = std::span<const std::uint8_t>;

/// The bytes from `at` on, at most `count`; as many as there are.
[[nodiscard]] inline Bytes part(Bytes bytes, std::size_t at, std::size_t count = ~std::size_t{0}) {
    if (at >= bytes.size())
        return {};
    const Bytes rest = bytes.subspan(at);
    return rest.first(count < rest.size() ? count : rest.size());
}

/// The same bytes as characters, whatever they encode.
[[nodiscard]] inline std::string_view charsOf(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

[[nodiscard]] inline bool beginsWith(Bytes bytes, std::string_view text) {
    return charsOf(bytes).starts_with(text);
}

namespace detail {

template <std::unsigned_integral T> bool holds(Bytes bytes, std::size_t at) {
    return bytes.size() >= sizeof(T) && at <= bytes.size() - sizeof(T);
}

template <std::unsigned_integral T> T readLE(Bytes bytes, std::size_t at) {
    return holds<T>(bytes, at) ? loadLE<T>(bytes.data() + at) : T{0};
}

template <std::unsigned_integral T> T readBE(Bytes bytes, std::size_t at) {
    T value = 0;
    if (holds<T>(bytes, at))
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value = static_cast<T>(value << 8 | bytes[at + i]);
    return value;
}

} // namespace detail

[[nodiscard]] inline std::uint8_t u8(Bytes bytes, std::size_t at) {
    return at < bytes.size() ? bytes[at] : std::uint8_t{0};
}

[[nodiscard]] inline std::uint16_t u16le(Bytes bytes, std::size_t at) {
    return detail::readLE<std::uint16_t>(bytes, at);
}

[[nodiscard]] inline std::uint16_t u16be(Bytes bytes, std::size_t at) {
    return detail::readBE<std::uint16_t>(bytes, at);
}

[[nodiscard]] inline std::uint32_t u24be(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(u8(bytes, at)) << 16 | u16be(bytes, at + 1);
}

[[nodiscard]] inline std::uint32_t u32le(Bytes bytes, std::size_t at) {
    return detail::readLE<std::uint32_t>(bytes, at);
}

[[nodiscard]] inline std::uint32_t u32be(Bytes bytes, std::size_t at) {
    return detail::readBE<std::uint32_t>(bytes, at);
}

[[nodiscard]] inline std::uint64_t u64be(Bytes bytes, std::size_t at) {
    return detail::readBE<std::uint64_t>(bytes, at);
}

/// Four characters that name a chunk, an atom or a frame; the first one is the highest byte. 0 is
/// none.
using FourCC = std::uint32_t;

[[nodiscard]] constexpr FourCC code(const char (&text)[5]) {
    FourCC value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(text[i]);
    return value;
}

/// The code at an offset, each NUL taken for a space; 0 when fewer than 4 bytes remain.
[[nodiscard]] inline FourCC fourCC(Bytes bytes, std::size_t at) {
    FourCC value = u32be(bytes, at);
    if (!detail::holds<FourCC>(bytes, at))
        return 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
        if ((value >> shift & 0xFF) == 0)
            value |= std::uint32_t{' '} << shift;
    return value;
}

} // namespace quarrydex
