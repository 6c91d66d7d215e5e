/// Calls over the session bus that are answered in any case: one over a connection that was never
/// made is not, by the library's own function.
///
/// Threads: any. Failure: an error reply.
#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>

namespace quarrydex {

[[nodiscard]] inline QDBusPendingCall answeredCall(const QDBusConnection& bus,
                                                   const QDBusMessage& call) {
    if (bus.isConnected())
        return bus.asyncCall(call);
    return QDBusPendingCall::fromError(
        QDBusError(QDBusError::Disconnected, QStringLiteral("there is no session bus")));
}

} // namespace quarrydex
