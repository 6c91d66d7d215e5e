/// The keys and modifiers that a hot key may be made of, as HotKeyPreset numbers them, and what
/// they are called here. Threads: any; no state. Fails: never.
#pragma once

#include <cstdint>

namespace quarrydex {

inline constexpr std::uint32_t superBit = 256, shiftBit = 512, altBit = 2048, controlBit = 4096;

struct HotKeyKey {
    std::uint32_t keyCode;
    std::uint32_t keysym;      ///< of X11
    std::uint8_t usualKeycode; ///< of X11, where no key has the keysym: a keyboard of other letters
    const char* name;          ///< of the keysym
};

inline constexpr HotKeyKey hotKeyKeys[] = {{49, 0x20, 65, "space"}, {3, 0x66, 41, "f"}};

/// Null for a key that no hot key is made of.
[[nodiscard]] constexpr const HotKeyKey* hotKeyKey(std::uint32_t keyCode) {
    for (const HotKeyKey& key : hotKeyKeys)
        if (key.keyCode == keyCode)
            return &key;
    return nullptr;
}

} // namespace quarrydex
