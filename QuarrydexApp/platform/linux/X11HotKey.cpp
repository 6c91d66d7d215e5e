#include "QuarrydexApp/platform/linux/X11HotKey.h"

#include "QuarrydexApp/platform/linux/Keys.h"

#include <QSocketNotifier>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace quarrydex {

namespace {

constexpr int accessError = 10; ///< BadAccess: another client has the grab

constexpr xcb_keysym_t numLock = 0xFF7F;
constexpr xcb_keysym_t metaLeft = 0xFFE7, metaRight = 0xFFE8, altLeft = 0xFFE9, altRight = 0xFFEA,
                       superLeft = 0xFFEB, superRight = 0xFFEC;

/// The wanted modifiers as the server's state of them.
std::uint16_t stateOf(std::uint32_t modifiers, const X11KeyMap& map) {
    unsigned state = 0;
    if ((modifiers & superBit) != 0)
        state |= map.modifiers({superLeft, superRight}, XCB_MOD_MASK_4);
    if ((modifiers & altBit) != 0)
        state |= map.modifiers({altLeft, altRight, metaLeft, metaRight}, XCB_MOD_MASK_1);
    if ((modifiers & shiftBit) != 0)
        state |= XCB_MOD_MASK_SHIFT;
    if ((modifiers & controlBit) != 0)
        state |= XCB_MOD_MASK_CONTROL;
    return static_cast<std::uint16_t>(state);
}

} // namespace

X11HotKey::X11HotKey(const char* display) : display_(display) {}

X11HotKey::~X11HotKey() {
    notifier_.reset(); // before its descriptor closes; the grabs end with the connection
}

void X11HotKey::register_(std::uint32_t keyCode,
                          std::uint32_t modifiers,
                          std::function<void()> pressed,
                          std::function<void(Outcome)> answer) {
    unregister();
    Outcome outcome = Outcome::unavailable;
    const HotKeyKey* key = hotKeyKey(keyCode);
    if (key != nullptr && connect()) {
        key_ = key;
        modifiers_ = modifiers;
        map_ = X11KeyMap(connection_.get());
        outcome = grab();
    }
    if (outcome == Outcome::registered)
        pressed_ = std::move(pressed);
    else
        key_ = nullptr;
    if (answer)
        answer(outcome);
}

void X11HotKey::unregister() {
    ungrab();
    key_ = nullptr;
    pressed_ = nullptr;
}

bool X11HotKey::connect() {
    if (connection_ && xcb_connection_has_error(connection_.get()) == 0)
        return true;
    notifier_.reset();
    connection_.reset(xcb_connect(display_, nullptr));
    if (xcb_connection_has_error(connection_.get()) != 0) {
        connection_.reset();
        return false;
    }
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_.get()),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, &receiver_,
                     [this] { readEvents(); });
    return true;
}

template <typename F> void X11HotKey::forEachRoot(F&& visit) const {
    for (auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())); screens.rem > 0;
         xcb_screen_next(&screens))
        visit(screens.data->root);
}

X11HotKey::Grab X11HotKey::wantedGrab() const {
    const std::uint16_t state = stateOf(modifiers_, map_);
    const std::uint16_t num = map_.modifiers({numLock}, 0);
    Grab wanted{map_.keycode(key_->keysym).value_or(key_->usualKeycode), {}};
    for (const unsigned locks : {0U, unsigned{XCB_MOD_MASK_LOCK}, unsigned{num},
                                 unsigned{XCB_MOD_MASK_LOCK} | unsigned{num}}) {
        const auto whole = static_cast<std::uint16_t>(state | locks);
        if (std::ranges::find(wanted.states, whole) == wanted.states.end())
            wanted.states.push_back(whole);
    }
    return wanted;
}

HotKey::Outcome X11HotKey::grab() {
    grab_ = wantedGrab();
    std::vector<xcb_void_cookie_t> cookies;
    forEachRoot([&](xcb_window_t root) {
        for (const std::uint16_t state : grab_.states)
            cookies.push_back(xcb_grab_key_checked(connection_.get(), 0, root, state, grab_.keycode,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    });
    Outcome outcome = Outcome::registered;
    for (const xcb_void_cookie_t cookie : cookies) {
        const std::unique_ptr<xcb_generic_error_t, XcbFree> error(
            xcb_request_check(connection_.get(), cookie));
        if (error && outcome != Outcome::taken)
            outcome = error->error_code == accessError ? Outcome::taken : Outcome::unavailable;
    }
    if (xcb_connection_has_error(connection_.get()) != 0)
        outcome = Outcome::unavailable;
    if (outcome != Outcome::registered)
        ungrab(); // some of the states may have been free
    // Events that came in between are read already, so the descriptor does not tell of them.
    QMetaObject::invokeMethod(
        &receiver_, [this] { readEvents(); }, Qt::QueuedConnection);
    return outcome;
}

void X11HotKey::ungrab() {
    if (!connection_ || grab_.states.empty())
        return;
    forEachRoot([&](xcb_window_t root) {
        for (const std::uint16_t state : grab_.states)
            xcb_ungrab_key(connection_.get(), grab_.keycode, root, state);
    });
    xcb_flush(connection_.get());
    grab_ = {};
}

void X11HotKey::readEvents() {
    if (!connection_)
        return;
    while (const std::unique_ptr<xcb_generic_event_t, XcbFree> event{
        xcb_poll_for_event(connection_.get())})
        takeEvent(*event);
    if (xcb_connection_has_error(connection_.get()) != 0) {
        notifier_.reset(); // its descriptor would be ready for ever
        return;
    }
    if (std::exchange(isMapStale_, false))
        followMap();
}

void X11HotKey::takeEvent(const xcb_generic_event_t& event) {
    constexpr unsigned sentFlag = 0x80; // by another client, not by the keyboard
    switch (event.response_type) {
    case XCB_KEY_PRESS:
        if (!isRepeat(reinterpret_cast<const xcb_key_press_event_t&>(event)) && pressed_) {
            const auto pressed = pressed_; // which may register anew
            pressed();
        }
        break;
    case XCB_KEY_RELEASE:
        releasedAt_ = reinterpret_cast<const xcb_key_release_event_t&>(event).time;
        break;
    case XCB_MAPPING_NOTIFY:
    case XCB_MAPPING_NOTIFY | sentFlag:
        isMapStale_ = true;
        break;
    default:
        break;
    }
}

/// A held key is reported as released and pressed at the same moment, again and again.
bool X11HotKey::isRepeat(const xcb_key_press_event_t& event) const {
    return event.time == releasedAt_;
}

void X11HotKey::followMap() {
    if (key_ == nullptr)
        return;
    map_ = X11KeyMap(connection_.get());
    const Grab wanted = wantedGrab();
    if (wanted.keycode == grab_.keycode && wanted.states == grab_.states)
        return;
    ungrab();
    // Where somebody else has it under the new map, it is tried again at the next change.
    static_cast<void>(grab());
}

} // namespace quarrydex
