/// HotKey by a grab at the X server, over a connection of its own.
///
/// A grab names the exact state of all modifiers, so each combination is grabbed with and without
/// Caps Lock and Num Lock. A key that is held down counts once. When the keyboard's map changes,
/// the grab follows the key.
///
/// Threads: the main thread; register_ waits for the server, which answers at once. Failure:
/// unavailable where there is no server or it goes away.
#pragma once

#include "QuarrydexApp/platform/HotKey.h"
#include "QuarrydexApp/platform/linux/X11KeyMap.h"

#include <QObject>

#include <memory>
#include <vector>

class QSocketNotifier;

namespace quarrydex {

struct HotKeyKey;

class X11HotKey final : public HotKey {
  public:
    /// `display` as in the variable DISPLAY; null: that variable. It is connected when first
    /// needed.
    explicit X11HotKey(const char* display = nullptr);
    ~X11HotKey() override;

    void register_(std::uint32_t keyCode,
                   std::uint32_t modifiers,
                   std::function<void()> pressed,
                   std::function<void(Outcome)> answer) override;

    void unregister() override;

  private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    /// What is grabbed on every screen.
    struct Grab {
        xcb_keycode_t keycode = 0;
        std::vector<std::uint16_t> states; ///< of the modifiers; empty: nothing is grabbed
    };

    bool connect();
    [[nodiscard]] Outcome grab();
    [[nodiscard]] Grab wantedGrab() const;
    void ungrab();
    void readEvents();
    void takeEvent(const xcb_generic_event_t& event);
    [[nodiscard]] bool isRepeat(const xcb_key_press_event_t& event) const;
    void followMap();

    template <typename F> void forEachRoot(F&& visit) const;

    const char* display_;
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    std::unique_ptr<QSocketNotifier> notifier_;
    QObject receiver_; ///< of what is posted to this object

    const HotKeyKey* key_ = nullptr; ///< the registration; null: none
    std::uint32_t modifiers_ = 0;
    std::function<void()> pressed_;

    X11KeyMap map_;
    Grab grab_;
    bool isMapStale_ = false;
    xcb_timestamp_t releasedAt_ = 0; ///< server's time of the last release
};

} // namespace quarrydex
