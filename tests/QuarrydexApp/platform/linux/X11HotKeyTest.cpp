#ifdef QDX_WITH_XCB

#include "QuarrydexApp/platform/linux/X11HotKey.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LoopImage.h"
#include "tests/support/QtApplication.h"
#include "tests/support/XServer.h"

#include <optional>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using Told = HotKey::Outcome;
using testing::comesTo;

constexpr std::uint32_t space = 49, f = 3;
constexpr std::uint32_t super = 256, shift = 512, alt = 2048, control = 4096;

XServer& server() {
    static XServer server(XServer::Repeat::atOnce);
    return server;
}

class X11HotKeyTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QDX_NEEDS(XServer::lack());
        ASSERT_EQ(registered(mark_, f, control | shift, marks_), Told::registered);
    }

    static Told registered(X11HotKey& key, std::uint32_t code, std::uint32_t modifiers, int& n) {
        std::optional<Told> outcome;
        key.register_(
            code, modifiers, [&n] { ++n; }, [&outcome](Told told) { outcome = told; });
        return outcome.value();
    }

    /// Types, and waits until the server has told of all of it: a further key comes last.
    void type(const std::vector<std::string>& words) {
        const int before = marks_;
        server().type(words);
        server().type({"key", "ctrl+shift+f"});
        EXPECT_TRUE(comesTo([&] { return marks_ > before; }));
        EXPECT_TRUE(comesTo([] { return true; })); // what the other connections have read
    }

    const char* display() const { return server().name(); }

    using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

    Connection connect() const { return {xcb_connect(display(), nullptr), &xcb_disconnect}; }

    int marks_ = 0;
    X11HotKey mark_{XServer::lack().empty() ? display() : ":none"};
};

} // namespace

TEST_F(X11HotKeyTest, EveryPressOfThisCombinationAloneCounts) {
    X11HotKey key(display());
    int presses = 0;

    const struct {
        std::uint32_t code, modifiers;
        const char* typed;
    } cases[] = {{space, alt, "alt+space"},
                 {space, super | shift, "super+shift+space"},
                 {space, control, "ctrl+space"},
                 {f, alt | super, "alt+super+f"}};

    for (const auto& c : cases) {
        presses = 0;
        EXPECT_EQ(registered(key, c.code, c.modifiers, presses), Told::registered);
        for (const auto& other : cases)
            type({"key", other.typed});
        type({"key", "space"});
        type({"key", c.typed});
        EXPECT_EQ(presses, 2) << c.typed;
    }
}

TEST_F(X11HotKeyTest, LocksMakeNoDifference) {
    X11HotKey key(display());
    int presses = 0;
    EXPECT_EQ(registered(key, space, alt, presses), Told::registered);
    int expected = 0;
    for (const char* lock : {"Num_Lock", "Caps_Lock", "Num_Lock", "Caps_Lock"}) {
        server().type({"key", lock});
        server().type({"key", "alt+space"});
        ++expected;
        EXPECT_TRUE(comesTo([&] { return presses == expected; })) << "after " << lock;
    }
}

TEST_F(X11HotKeyTest, AHeldKeyCountsOnce) {
    X11HotKey key(display());
    int presses = 0;
    EXPECT_EQ(registered(key, space, alt, presses), Told::registered);
    server().type({"keydown", "alt", "keydown", "space"});
    server().type({"mousemove", "1", "1"}); // the start of a program takes many repeats
    server().type({"keyup", "space", "keyup", "alt"});
    type({"key", "space"});
    EXPECT_EQ(presses, 1);
}

TEST_F(X11HotKeyTest, WhatAnotherProgramHasIsTakenAndStaysWithIt) {
    X11HotKey first(display());
    X11HotKey second(display());
    int ofFirst = 0;
    int ofSecond = 0;
    EXPECT_EQ(registered(first, space, alt, ofFirst), Told::registered);
    EXPECT_EQ(registered(second, space, alt, ofSecond), Told::taken);
    type({"key", "alt+space"});
    EXPECT_EQ(ofFirst, 1);
    EXPECT_EQ(ofSecond, 0);

    // A replaced registration is free for others, and so is one that was ended.
    EXPECT_EQ(registered(first, space, control, ofFirst), Told::registered);
    EXPECT_EQ(registered(second, space, alt, ofSecond), Told::registered);
    type({"key", "alt+space"});
    EXPECT_EQ(ofSecond, 1);
    second.unregister();
    type({"key", "alt+space"});
    EXPECT_EQ(ofSecond, 1);
    EXPECT_EQ(registered(first, space, alt, ofFirst), Told::registered);
}

TEST_F(X11HotKeyTest, WhatCannotBeHadIsGivenBackAndTold) {
    const Connection other = connect();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other.get())).data->root;
    const xcb_keycode_t code = X11KeyMap(other.get()).keycode(0x20).value();
    const auto grab = [&](unsigned state) {
        const std::unique_ptr<xcb_generic_error_t, decltype(&std::free)> error(
            xcb_request_check(other.get(),
                              xcb_grab_key_checked(other.get(), 0, root,
                                                   static_cast<std::uint16_t>(state), code,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)),
            &std::free);
        return error == nullptr;
    };
    ASSERT_TRUE(grab(XCB_MOD_MASK_1 | XCB_MOD_MASK_LOCK));
    X11HotKey key(display());
    int presses = 0;
    EXPECT_EQ(registered(key, space, alt, presses), Told::taken);
    EXPECT_TRUE(comesTo([&] { return grab(XCB_MOD_MASK_1); }));

    EXPECT_EQ(registered(key, 4711, alt, presses), Told::unavailable) << "no such key";
    X11HotKey nowhere(":9999");
    EXPECT_EQ(registered(nowhere, space, alt, presses), Told::unavailable);
}

TEST_F(X11HotKeyTest, TheGrabFollowsItsKeyWhenTheMapChanges) {
    X11HotKey key(display());
    int presses = 0;
    EXPECT_EQ(registered(key, space, alt, presses), Told::registered);
    const Connection other = connect();
    const X11KeyMap before(other.get());
    const auto set = [&](xcb_keycode_t code, xcb_keysym_t keysym) {
        xcb_change_keyboard_mapping(other.get(), 1, code, 1, &keysym);
        xcb_flush(other.get());
    };
    const xcb_keycode_t spaceBar = before.keycode(0x20).value();
    const xcb_keycode_t keyB = before.keycode('b').value();
    set(spaceBar, 'b');
    set(keyB, ' ');
    EXPECT_TRUE(comesTo([&] {
        server().type({"key", "alt+space"});
        return presses > 0;
    }));
    set(spaceBar, ' ');
    set(keyB, 'b');
    presses = 0;
    EXPECT_TRUE(comesTo([&] {
        server().type({"key", "alt+space"});
        return presses > 0;
    }));
}

TEST_F(X11HotKeyTest, ARegistrationMayBeReplacedWhileItIsPressed) {
    X11HotKey key(display());
    int second = 0;
    key.register_(
        space, alt, [&] { EXPECT_EQ(registered(key, space, control, second), Told::registered); },
        [](Told outcome) { EXPECT_EQ(outcome, Told::registered); });
    type({"key", "alt+space"});
    type({"key", "ctrl+space"});
    EXPECT_EQ(second, 1);
}

} // namespace quarrydex

#endif
