/// Byte-level helpers: little-endian loads and stores, checked arithmetic, FNV-1a.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace quarrydex {

static_assert(std::endian::native == std::endian::little,
              "columns and file formats are used as they lie in memory");

template <std::unsigned_integral T> T loadLE(const void* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <std::unsigned_integral T> void storeLE(void* to, T value) {
    std::memcpy(to, &value, sizeof value);
}

/// a + b and a × b, or nothing when the result does not fit.
template <std::unsigned_integral T> std::optional<T> checkedAdd(T a, T b) {
    T out;
    if (__builtin_add_overflow(a, b, &out))
        return std::nullopt;
    return out;
}

template <std::unsigned_integral T> std::optional<T> checkedMul(T a, T b) {
    T out;
    if (__builtin_mul_overflow(a, b, &out))
        return std::nullopt;
    return out;
}

/// 32-bit FNV-1a (offset basis 0x811C9DC5, prime 16777619).
constexpr std::uint32_t fnv1a32(std::string_view bytes) {
    std::uint32_t hash = 0x811C9DC5;
    for (char c : bytes)
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    return hash;
}

/// 64-bit FNV-1a (offset basis 0xCBF29CE484222325, prime 0x100000001B3).
constexpr std::uint64_t fnv1a64(std::string_view bytes) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (char c : bytes)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

} // namespace quarrydex
