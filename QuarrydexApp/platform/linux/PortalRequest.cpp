#include "QuarrydexApp/platform/linux/PortalRequest.h"

#include "QuarrydexApp/platform/linux/AnsweredCall.h"
#include "QuarrydexCore/base/Log.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <atomic>
#include <utility>

#include <unistd.h>

namespace quarrydex {

namespace {

const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

/// The path that the portal gives a request, so that its signal can be awaited before the call.
QString expectedHandle(const QDBusConnection& bus, const QString& token) {
    QString sender = bus.baseService().mid(1); // after the colon
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

} // namespace

void portal::close(const QDBusConnection& bus, const QString& object, const QString& interface) {
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(service), object, interface,
                                                       QStringLiteral("Close"));
    call.setAutoStartService(false); // a portal that has ended knows nothing of the object
    bus.send(call);
}

PortalRequest::PortalRequest(const QDBusConnection& bus,
                             const QString& interface,
                             const QString& method,
                             const QVariantList& arguments,
                             QVariantMap options,
                             Answered answered,
                             QObject* parent)
    : QObject(parent), bus_(bus), answered_(std::move(answered)) {
    const QString token = newToken();
    options.insert(QStringLiteral("handle_token"), token);
    listenTo(expectedHandle(bus_, token));

    QDBusMessage call = QDBusMessage::createMethodCall(
        QLatin1String(portal::service), QLatin1String(portal::path), interface, method);
    call.setArguments(arguments + QVariantList{options});
    auto* watcher = new QDBusPendingCallWatcher(answeredCall(bus_, call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](auto* done) {
        done->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *done;
        if (reply.isError()) {
            logLine("portal: " + reply.error().message().toStdString());
            handle_.clear(); // there is nothing to withdraw
            finish({});
        } else if (reply.value().path() != handle_) {
            listenTo(reply.value().path()); // older portals choose the path themselves
        }
    });
}

PortalRequest::~PortalRequest() {
    if (!answered_ || handle_.isEmpty())
        return;
    portal::close(bus_, handle_, requestInterface);
}

QString PortalRequest::newToken() {
    static std::atomic<unsigned> last{0};
    return QStringLiteral("quarrydex_%1_%2").arg(::getpid()).arg(++last);
}

void PortalRequest::listenTo(const QString& handle) {
    handle_ = handle;
    bus_.connect(QLatin1String(portal::service), handle, requestInterface,
                 QStringLiteral("Response"), this, SLOT(takeResponse(uint, QVariantMap)));
}

void PortalRequest::takeResponse(uint response, const QVariantMap& results) {
    finish({response == 0, results});
}

void PortalRequest::finish(const Answer& answer) {
    if (!answered_)
        return;
    deleteLater();
    std::exchange(answered_, nullptr)(answer);
}

} // namespace quarrydex
