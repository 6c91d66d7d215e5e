/// One call over a bus, waited for by the event loop: whoever answers may live on this thread.
#pragma once

#include "tests/support/EventLoop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <gtest/gtest.h>

namespace quarrydex {

/// The reply, or the error.
inline QDBusMessage callBus(const QDBusConnection& bus,
                            const char* service,
                            const char* path,
                            const char* interface,
                            const char* method,
                            const QVariantList& arguments) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(path),
                                       QLatin1String(interface), QLatin1String(method));
    call.setArguments(arguments);
    const QDBusPendingCall pending = bus.asyncCall(call);
    EXPECT_TRUE(testing::comesTo([&] { return pending.isFinished(); })) << method;
    return pending.reply();
}

} // namespace quarrydex
