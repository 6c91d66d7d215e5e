#include "QuarrydexApp/dbus/SingleInstance.h"

#include "QuarrydexApp/dbus/BusNames.h"

#include "tests/fakes/FakeBusService.h"
#include "tests/support/BusCall.h"
#include "tests/support/EventLoop.h"
#include "tests/support/LoopImage.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/QtApplication.h"

#include <optional>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using Role = SingleInstance::Role;
using testing::comesTo;

class SingleInstanceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        QDX_NEEDS(PrivateBus::lack());
        first_.emplace(PrivateBus::shared().connect());
        second_.emplace(PrivateBus::shared().connect());
        const auto note = [this](const char* what) {
            return [this, what](const QString& token) { noted_.append(what + (":" + token)); };
        };
        QObject::connect(&*first_, &SingleInstance::toggleRequested, note("toggle"));
        QObject::connect(&*first_, &SingleInstance::showRequested, note("show"));
        QObject::connect(&*first_, &SingleInstance::duplicatesRequested, note("duplicates"));
        QObject::connect(&*first_, &SingleInstance::searchRequested,
                         [this](const QString& text, const QString& token) {
                             noted_.append("search " + text + ":" + token);
                         });
    }

    /// Calls the first instance as any program may. The name of the error, empty for none.
    QString call(const char* interface, const char* method, const QVariantList& arguments) {
        return callBus(client_, busNames::service, busNames::path, interface, method, arguments)
            .errorName();
    }

    std::optional<SingleInstance> first_;
    std::optional<SingleInstance> second_;
    QDBusConnection client_ = PrivateBus::shared().connect();
    QStringList noted_;
};

constexpr const char* application = "org.freedesktop.Application";
constexpr const char* scripts = "io.github.quarrydex.Quarrydex";

} // namespace

TEST_F(SingleInstanceTest, LaterStartsReachTheFirstWithTheirTokens) {
    EXPECT_EQ(first_->claim(), Role::first);
    EXPECT_EQ(second_->claim(), Role::second);
    EXPECT_TRUE(second_->askToToggle("t1"));
    EXPECT_TRUE(second_->askToShow(""));
    EXPECT_TRUE(second_->askToSearch(QStringLiteral("Café \"a b\""), "t3"));
    EXPECT_TRUE(comesTo([&] { return noted_.size() == 3; }));
    EXPECT_EQ(noted_,
              (QStringList{"toggle:t1", "show:", QStringLiteral("search Café \"a b\":t3")}));
}

TEST_F(SingleInstanceTest, AStartThatReachesNobodyIsOnItsOwn) {
    EXPECT_EQ(first_->claim(), Role::first);
    EXPECT_EQ(second_->claim(), Role::second);
    first_.reset();
    EXPECT_FALSE(second_->askToShow(""));
    EXPECT_EQ(second_->claim(), Role::first);
    second_.reset();

    const FakeBusService hanging(PrivateBus::shared().connect(), busNames::service,
                                 [](const QDBusMessage&) { return QDBusMessage(); });
    SingleInstance waiting(PrivateBus::shared().connect());
    EXPECT_EQ(waiting.claim(), Role::second);
    waiting.setLimit(std::chrono::milliseconds(1));
    EXPECT_FALSE(waiting.askToShow(""));

    SingleInstance alone(PrivateBus::broken());
    EXPECT_EQ(alone.claim(), Role::alone);
    EXPECT_FALSE(alone.askToShow(""));
}

TEST_F(SingleInstanceTest, ScriptsAndDesktopsAreServed) {
    EXPECT_EQ(first_->claim(), Role::first);
    const QVariantMap token{{"desktop-startup-id", "x"}};
    EXPECT_EQ(call(scripts, "Toggle", {}), "");
    EXPECT_EQ(call(scripts, "Show", {}), "");
    EXPECT_EQ(call(scripts, "Search", {"a"}), "");
    EXPECT_EQ(call(application, "Activate", {token}), "");
    EXPECT_EQ(call(application, "Open", {QStringList{"file:///a"}, token}), "");
    EXPECT_EQ(call(application, "ActivateAction", {"new-search", QVariantList(), token}), "");
    EXPECT_EQ(call(application, "ActivateAction", {"find-duplicates", QVariantList(), token}), "");
    EXPECT_TRUE(comesTo([&] { return noted_.size() >= 7; }));
    EXPECT_EQ(noted_, (QStringList{"toggle:", "show:", "search a:", "show:x", "show:x", "search :x",
                                   "duplicates:x"}));
}

TEST_F(SingleInstanceTest, CallersDoNotWaitForWindows) {
    EXPECT_EQ(first_->claim(), Role::first);
    const QDBusPendingCall call = client_.asyncCall(QDBusMessage::createMethodCall(
        busNames::service, busNames::path, scripts, QStringLiteral("Show")));
    std::optional<bool> wasAnsweredFirst;
    QObject::connect(&*first_, &SingleInstance::showRequested,
                     [&] { wasAnsweredFirst = comesTo([&] { return call.isFinished(); }); });
    EXPECT_TRUE(comesTo([&] { return wasAnsweredFirst.has_value(); }));
    EXPECT_EQ(wasAnsweredFirst, true);
}

TEST_F(SingleInstanceTest, ForeignTextsAreBounded) {
    EXPECT_EQ(first_->claim(), Role::first);
    const QString longest(SingleInstance::maxText, 'x');
    const QString refused = "org.freedesktop.DBus.Error.InvalidArgs";
    EXPECT_EQ(call(scripts, "Search", {longest}), "");
    EXPECT_EQ(call(scripts, "Search", {longest + "x"}), refused);
    EXPECT_EQ(
        call(application, "ActivateAction", {"search", QVariantList{longest + "x"}, QVariantMap()}),
        refused);
    EXPECT_EQ(call(application, "ActivateAction", {"format", QVariantList(), QVariantMap()}),
              refused);
    const QVariantMap token{{"activation-token", QString(SingleInstance::maxToken + 1, 'x')}};
    EXPECT_EQ(call(application, "Activate", {token}), "");
    EXPECT_TRUE(comesTo([&] { return noted_.size() >= 2; }));
    EXPECT_EQ(noted_, (QStringList{"search " + longest + ":", "show:"}));
}

TEST_F(SingleInstanceTest, TheTokenIsTakenOutOfTheEnvironment) {
    qputenv("XDG_ACTIVATION_TOKEN", "wayland");
    qputenv("DESKTOP_STARTUP_ID", "x11");
    EXPECT_EQ(SingleInstance::takeActivationToken(), "wayland");
    EXPECT_FALSE(qEnvironmentVariableIsSet("DESKTOP_STARTUP_ID"));
    EXPECT_EQ(SingleInstance::takeActivationToken(), "");
    qputenv("DESKTOP_STARTUP_ID", "x11");
    EXPECT_EQ(SingleInstance::takeActivationToken(), "x11");
}

} // namespace quarrydex
