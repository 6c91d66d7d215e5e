#include "QuarrydexApp/platform/linux/PortalHotKey.h"

#include "QuarrydexApp/platform/linux/LinuxHotKey.h"
#include "QuarrydexApp/platform/linux/PortalTypes.h"

#include "tests/fakes/FakeBusService.h"
#include "tests/support/EventLoop.h"
#include "tests/support/LoopImage.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/QtApplication.h"

#include <QDBusMetaType>

#include <optional>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using Outcome_ = HotKey::Outcome;
using testing::comesTo;

constexpr std::uint32_t f = 3, alt = 2048, super = 256;

/// The desktop's portal, with a user who says yes or no.
class FakePortal {
  public:
    enum class User : std::uint8_t { agrees, refuses, gaveAnotherShortcut, thinks };

    explicit FakePortal(User user = User::agrees, bool choosesPaths = false)
        : user_(user), choosesPaths_(choosesPaths), bus_(PrivateBus::shared().connect()),
          service_(bus_, portal::service, [this](const QDBusMessage& call) { return take(call); }) {
    }

    [[nodiscard]] std::size_t count(const char* method) const { return service_.count(method); }

    void press(const QString& ofSession, const char* shortcut = "toggle") {
        service_.emitSignal(QLatin1String(portal::path), shortcuts, "Activated",
                            {QVariant::fromValue(QDBusObjectPath(ofSession)),
                             QLatin1String(shortcut), qulonglong{0}, QVariantMap()});
    }

    QString session;
    PortalShortcut wish;
    QStringList closed; ///< the interface of each object

  private:
    static constexpr const char* shortcuts = "org.freedesktop.portal.GlobalShortcuts";

    QDBusMessage take(const QDBusMessage& call) {
        if (call.member() == QStringLiteral("Close")) {
            closed.append(call.interface());
            return call.createReply();
        }
        const auto options = qdbus_cast<QVariantMap>(call.arguments().last());
        QString sender = call.service().mid(1);
        sender.replace('.', '_');
        const QString token = options.value("handle_token").toString();
        const QString handle = choosesPaths_
                                   ? QStringLiteral("/chosen/%1").arg(++chosen_)
                                   : QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                         .arg(sender, token);
        if (call.member() == QStringLiteral("CreateSession")) {
            session = "/session/" + options.value("session_handle_token").toString();
            bus_.send(call.createReply(QVariant::fromValue(QDBusObjectPath(handle))));
            respond(handle, 0, {{"session_handle", session}});
        } else {
            bind(call, handle);
        }
        return {};
    }

    void bind(const QDBusMessage& call, const QString& handle) {
        wish = qdbus_cast<QList<PortalShortcut>>(call.arguments().at(1)).value(0);
        bus_.send(call.createReply(QVariant::fromValue(QDBusObjectPath(handle))));
        if (user_ == User::thinks)
            return;
        PortalShortcut given = wish;
        if (user_ == User::gaveAnotherShortcut)
            given.id = "another";
        respond(handle, user_ == User::refuses ? 1 : 0,
                {{"shortcuts", QVariant::fromValue(QList<PortalShortcut>{given})}});
    }

    void respond(const QString& handle, uint response, const QVariantMap& results) {
        // A portal that chooses the path answers once the caller has had time to hear of it.
        const auto send = [this, handle, response, results] {
            service_.emitSignal(handle, "org.freedesktop.portal.Request", "Response",
                                {response, results});
        };
        if (choosesPaths_)
            QTimer::singleShot(20, &service_, send);
        else
            send();
    }

    User user_;
    bool choosesPaths_;
    int chosen_ = 0;
    QDBusConnection bus_;
    FakeBusService service_;
};

class PortalHotKeyTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QDX_NEEDS(PrivateBus::lack());
        key_.emplace(PrivateBus::shared().connect());
    }

    void ask() {
        key_->register_(
            f, alt | super, [this] { ++presses_; },
            [this](Outcome_ outcome) { outcomes_.push_back(outcome); });
    }

    /// Asks, and returns the answer.
    Outcome_ answer() {
        outcomes_.clear();
        ask();
        EXPECT_TRUE(comesTo([&] { return !outcomes_.empty(); }));
        return outcomes_.empty() ? Outcome_::taken : outcomes_[0];
    }

    std::optional<PortalHotKey> key_;
    int presses_ = 0;
    std::vector<Outcome_> outcomes_;
};

} // namespace

TEST_F(PortalHotKeyTest, AGrantedShortcutIsPressedUntilItEnds) {
    for (const bool choosesPaths : {false, true}) {
        presses_ = 0;
        key_.emplace(PrivateBus::shared().connect());
        FakePortal portal(FakePortal::User::agrees, choosesPaths);
        EXPECT_EQ(answer(), Outcome_::registered);
        EXPECT_EQ(portal.wish.properties.value("preferred_trigger"), QVariant("ALT+LOGO+f"));
        portal.press("/session/of_another");
        portal.press(portal.session, "another");
        portal.press(portal.session);
        EXPECT_TRUE(comesTo([&] { return presses_ > 0; }));
        EXPECT_EQ(presses_, 1);

        key_->unregister();
        EXPECT_TRUE(comesTo([&] { return portal.count("Close") == 1; }));
        EXPECT_EQ(portal.closed, QStringList{"org.freedesktop.portal.Session"});
        EXPECT_EQ(outcomes_.size(), 1U);
    }
}

TEST_F(PortalHotKeyTest, WhatIsNotGrantedIsUnavailable) {
    EXPECT_EQ(answer(), Outcome_::unavailable) << "no portal";
    {
        FakeBusService old(PrivateBus::shared().connect(), portal::service,
                           [](const QDBusMessage& call) {
                               return call.createErrorReply(QDBusError::UnknownMethod, "old");
                           });
        EXPECT_EQ(answer(), Outcome_::unavailable) << "a portal without shortcuts";
    }
    for (const auto user : {FakePortal::User::refuses, FakePortal::User::gaveAnotherShortcut}) {
        FakePortal portal(user);
        EXPECT_EQ(answer(), Outcome_::unavailable);
    }
    PortalHotKey alone(PrivateBus::broken());
    std::optional<Outcome_> told;
    alone.register_(
        f, alt, [] {}, [&](Outcome_ outcome) { told = outcome; });
    EXPECT_TRUE(comesTo([&] { return told.has_value(); }));
    EXPECT_EQ(told, Outcome_::unavailable);
}

TEST_F(PortalHotKeyTest, APortalThatEndsBeforeItsAnswerGrantsNothing) {
    std::optional<FakePortal> portal(std::in_place, FakePortal::User::thinks);
    ask();
    EXPECT_TRUE(comesTo([&] { return portal->count("BindShortcuts") == 1; }));
    portal.reset();
    EXPECT_TRUE(comesTo([&] { return !outcomes_.empty(); }));
    EXPECT_EQ(outcomes_, std::vector<Outcome_>{Outcome_::unavailable});
}

TEST_F(PortalHotKeyTest, AReplacedQuestionIsWithdrawnAndNotAnswered) {
    FakePortal portal(FakePortal::User::thinks);
    ask();
    EXPECT_TRUE(comesTo([&] { return portal.count("BindShortcuts") == 1; }));
    ask();
    EXPECT_TRUE(comesTo([&] { return portal.count("BindShortcuts") == 2; }));
    EXPECT_EQ(portal.closed,
              (QStringList{"org.freedesktop.portal.Request", "org.freedesktop.portal.Session"}));
    EXPECT_TRUE(outcomes_.empty());
}

TEST_F(PortalHotKeyTest, APortalStartedAnewGetsTheShortcutAgain) {
    std::optional<FakePortal> portal(std::in_place);
    EXPECT_EQ(answer(), Outcome_::registered);
    portal.reset();
    portal.emplace();
    EXPECT_TRUE(comesTo([&] { return portal->count("BindShortcuts") == 1; }));
    EXPECT_TRUE(comesTo([&] {
        portal->press(portal->session);
        return presses_ > 0;
    }));
    EXPECT_EQ(outcomes_.size(), 1U);
}

TEST_F(PortalHotKeyTest, TheDesktopDecidesWhichWayKeysAreTaken) {
    const QDBusConnection bus = PrivateBus::shared().connect();
    const auto isPortal = [&](const char* platform, bool isWayland) {
        const auto key = linuxHotKey(QLatin1String(platform), isWayland, bus);
        return dynamic_cast<PortalHotKey*>(key.get()) != nullptr;
    };
    EXPECT_TRUE(isPortal("wayland", true));
    EXPECT_TRUE(isPortal("wayland-egl", true));
    EXPECT_TRUE(isPortal("xcb", true)); // a guest of Wayland sees no other windows' keys
    EXPECT_FALSE(isPortal("xcb", false));
    EXPECT_FALSE(isPortal("offscreen", true));
}

} // namespace quarrydex
