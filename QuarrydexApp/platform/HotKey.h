/// One key combination that reaches the program whichever application is in front.
///
/// Threads: the main thread, with an event loop. Failure: a value of Outcome.
#pragma once

#include <cstdint>
#include <functional>

namespace quarrydex {

class HotKey {
  public:
    enum class Outcome : std::uint8_t {
        registered,
        taken,       ///< another program has the combination
        unavailable, ///< not on this desktop: a key bound by hand to `quarrydex --toggle` does it
    };

    virtual ~HotKey() = default;

    /// `HotKey.register`: replaces the registration before, if any. `keyCode` and `modifiers` as in
    /// HotKeyPreset. `answer` is called once, maybe later: the desktop may ask the user first. It
    /// is not called any more after the next call of register_ or unregister. `pressed` is called
    /// at every press until the next call of register_ or unregister.
    virtual void register_(std::uint32_t keyCode,
                           std::uint32_t modifiers,
                           std::function<void()> pressed,
                           std::function<void(Outcome)> answer) = 0;

    virtual void unregister() = 0;
};

} // namespace quarrydex
