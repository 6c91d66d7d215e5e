/// The choices for the global shortcut. Threads: any; no state. Fails: never.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace quarrydex {

struct HotKeyPreset {
    /// Bits of `modifiers`.
    static constexpr std::uint32_t command = 256, shift = 512, option = 2048, control = 4096;

    int id;                  ///< as stored
    std::string_view title;  ///< in the signs of the keys
    std::uint32_t keyCode;   ///< position on the keyboard: 49 space bar, 3 the key F
    std::uint32_t modifiers; ///< sum of the bits above

    bool operator==(const HotKeyPreset&) const = default;

    /// The title in the words that stand on the keys here: "Alt+Super+F".
    [[nodiscard]] std::string wordTitle() const;

    static const std::array<HotKeyPreset, 4> all;

    /// The preset with this id, else the first one.
    [[nodiscard]] static const HotKeyPreset& withId(std::int64_t id);
};

inline constexpr std::array<HotKeyPreset, 4> HotKeyPreset::all = {{
    {0, "⌥ Space", 49, option},
    {1, "⌘⇧ Space", 49, command | shift},
    {2, "⌃ Space", 49, control},
    {3, "⌥⌘ F", 3, option | command},
}};

} // namespace quarrydex
