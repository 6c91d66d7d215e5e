/// Connections to a session bus of the test's own.
///
///     QDX_NEEDS(PrivateBus::lack());
///     QDBusConnection client = PrivateBus::shared().connect();
///
/// Threads: the main thread, with a QCoreApplication. The bus runs until the program ends. Failure:
/// connections that are not connected.
#pragma once

#include "tests/support/BusDaemon.h"

#include <QDBusConnection>

namespace quarrydex {

class PrivateBus {
  public:
    /// Why there can be none here; empty when it can.
    [[nodiscard]] static std::string lack() { return BusDaemon::lack(); }

    [[nodiscard]] static PrivateBus& shared() {
        static PrivateBus bus;
        return bus;
    }

    /// A connection that nobody else has.
    [[nodiscard]] QDBusConnection connect() {
        if (daemon_.address().empty())
            return broken();
        return QDBusConnection::connectToBus(QString::fromStdString(daemon_.address()),
                                             QStringLiteral("client %1").arg(++connections_));
    }

    /// One to a bus that is not there.
    [[nodiscard]] static QDBusConnection broken() {
        return QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"),
                                             QStringLiteral("broken"));
    }

  private:
    PrivateBus() = default;

    BusDaemon daemon_;
    int connections_ = 0;
};

} // namespace quarrydex
