#include "QuarrydexApp/prefs/HotKeyPreset.h"

namespace quarrydex {

std::string HotKeyPreset::wordTitle() const {
    constexpr struct {
        std::uint32_t bit;
        const char* word;
    } words[] = {{control, "Ctrl+"}, {option, "Alt+"}, {shift, "Shift+"}, {command, "Super+"}};

    std::string out;
    for (const auto& [bit, word] : words)
        if ((modifiers & bit) != 0)
            out += word;
    return out + std::string(title.substr(title.rfind(' ') + 1));
}

const HotKeyPreset& HotKeyPreset::withId(std::int64_t id) {
    for (const HotKeyPreset& preset : all)
        if (preset.id == id)
            return preset;
    return all.front();
}

} // namespace quarrydex
