#include "QuarrydexApp/platform/linux/X11KeyMap.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace quarrydex {

X11KeyMap::X11KeyMap(xcb_connection_t* connection) {
    const xcb_setup_t& setup = *xcb_get_setup(connection);
    const auto count = static_cast<std::uint8_t>(setup.max_keycode - setup.min_keycode + 1);
    const auto mapCookie = xcb_get_keyboard_mapping(connection, setup.min_keycode, count);
    const auto modifierCookie = xcb_get_modifier_mapping(connection);

    const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, XcbFree> map(
        xcb_get_keyboard_mapping_reply(connection, mapCookie, nullptr));
    if (map && map->keysyms_per_keycode > 0) {
        first_ = setup.min_keycode;
        width_ = map->keysyms_per_keycode;
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(map.get());
        keysyms_.assign(keysyms, keysyms + xcb_get_keyboard_mapping_keysyms_length(map.get()));
    }
    const std::unique_ptr<xcb_get_modifier_mapping_reply_t, XcbFree> modifiers(
        xcb_get_modifier_mapping_reply(connection, modifierCookie, nullptr));
    if (modifiers) {
        modifierWidth_ = modifiers->keycodes_per_modifier;
        const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(modifiers.get());
        modifierKeys_.assign(keys,
                             keys + xcb_get_modifier_mapping_keycodes_length(modifiers.get()));
    }
}

std::optional<xcb_keycode_t> X11KeyMap::keycode(xcb_keysym_t keysym) const {
    // Level by level: what a key gives alone comes before what it gives with others held.
    const std::size_t rows = keysyms_.size() / width_;
    for (std::size_t level = 0; level < width_; ++level)
        for (std::size_t row = 0; row < rows; ++row)
            if (keysyms_[row * width_ + level] == keysym)
                return static_cast<xcb_keycode_t>(first_ + row);
    return std::nullopt;
}

std::uint16_t X11KeyMap::modifiers(std::initializer_list<xcb_keysym_t> keysyms,
                                   std::uint16_t otherwise) const {
    std::uint16_t found = 0;
    for (std::size_t i = 0; i < modifierKeys_.size(); ++i)
        for (const xcb_keysym_t keysym : keysyms)
            if (has(modifierKeys_[i], keysym))
                found |= static_cast<std::uint16_t>(1U << (i / modifierWidth_));
    return found != 0 ? found : otherwise;
}

bool X11KeyMap::has(xcb_keycode_t keycode, xcb_keysym_t keysym) const {
    if (keycode < first_)
        return false;
    const std::size_t begin = static_cast<std::size_t>(keycode - first_) * width_;
    const std::size_t end = std::min(begin + width_, keysyms_.size());
    for (std::size_t i = begin; i < end; ++i)
        if (keysyms_[i] == keysym)
            return true;
    return false;
}

} // namespace quarrydex
