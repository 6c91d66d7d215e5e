/// A service on the session bus whose answers the test gives.
///
/// Threads: the main thread. Calls to any path are recorded and answered by the handler; an invalid
/// message is no answer.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>

#include <functional>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeBusService : public QDBusVirtualObject {
  public:
    using Handler = std::function<QDBusMessage(const QDBusMessage& call)>;

    FakeBusService(const QDBusConnection& bus, const char* name, Handler handler)
        : bus_(bus), name_(QLatin1String(name)), handler_(std::move(handler)) {
        bus_.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
        bus_.registerService(name_);
    }

    ~FakeBusService() override {
        bus_.unregisterService(name_);
        bus_.unregisterObject(QStringLiteral("/"), QDBusConnection::UnregisterTree);
    }

    FakeBusService(const FakeBusService&) = delete;
    FakeBusService& operator=(const FakeBusService&) = delete;

    [[nodiscard]] const std::vector<QDBusMessage>& calls() const { return calls_; }

    /// How often the method was called.
    [[nodiscard]] std::size_t count(const char* method) const {
        std::size_t found = 0;
        for (const QDBusMessage& call : calls_)
            found += call.member() == QLatin1String(method) ? 1 : 0;
        return found;
    }

    void emitSignal(const QString& path,
                    const char* interface,
                    const char* name,
                    const QVariantList& arguments) {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, QLatin1String(interface), QLatin1String(name));
        signal.setArguments(arguments);
        bus_.send(signal);
    }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
        calls_.push_back(call);
        const QDBusMessage reply = handler_(call);
        if (reply.type() != QDBusMessage::InvalidMessage)
            bus.send(reply);
        return true;
    }

  private:
    QDBusConnection bus_;
    QString name_;
    Handler handler_;
    std::vector<QDBusMessage> calls_;
};

} // namespace quarrydex
