/// Which keys and modifiers the X server's keyboard has, at one moment.
///
/// Threads: any; immutable. Failure of the connection: an empty map, in which nothing is found.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <vector>

#include <xcb/xcb.h>

namespace quarrydex {

/// For what the server answers and its events.
struct XcbFree {
    void operator()(void* answer) const { std::free(answer); }
};

class X11KeyMap {
  public:
    X11KeyMap() = default;

    /// Asks the server and waits for it.
    explicit X11KeyMap(xcb_connection_t* connection);

    /// The first key with that keysym at any level.
    [[nodiscard]] std::optional<xcb_keycode_t> keycode(xcb_keysym_t keysym) const;

    /// The modifiers that keys with one of these keysyms set; `otherwise` where there is none.
    [[nodiscard]] std::uint16_t modifiers(std::initializer_list<xcb_keysym_t> keysyms,
                                          std::uint16_t otherwise) const;

    bool operator==(const X11KeyMap&) const = default;

  private:
    [[nodiscard]] bool has(xcb_keycode_t keycode, xcb_keysym_t keysym) const;

    xcb_keycode_t first_ = 0;                 ///< the keycode of the first row
    std::size_t width_ = 1;                   ///< keysyms a row
    std::vector<xcb_keysym_t> keysyms_;       ///< [rows × width_]
    std::size_t modifierWidth_ = 0;           ///< keys a modifier
    std::vector<xcb_keycode_t> modifierKeys_; ///< [8 × modifierWidth_], 0 for none
};

} // namespace quarrydex
