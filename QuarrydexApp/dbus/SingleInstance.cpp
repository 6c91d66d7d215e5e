#include "QuarrydexApp/dbus/SingleInstance.h"

#include "QuarrydexApp/dbus/BusNames.h"
#include "QuarrydexApp/dbus/InstanceAdaptors.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QEventLoop>

namespace quarrydex {

namespace {

const QString service = QLatin1String(busNames::service);
const QString path = QLatin1String(busNames::path);

} // namespace

SingleInstance::SingleInstance(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), bus_(bus) {
    new ScriptAdaptor(*this, bus_);
    new ApplicationAdaptor(*this, bus_);
}

SingleInstance::~SingleInstance() {
    if (role_ != Role::first)
        return;
    bus_.unregisterService(service);
    bus_.unregisterObject(path);
}

SingleInstance::Role SingleInstance::claim() {
    if (role_ == Role::first)
        return role_;
    QDBusConnectionInterface* daemon = bus_.interface();
    if (!bus_.isConnected() || daemon == nullptr)
        return role_ = Role::alone;
    // Before the name, so that whoever finds the name finds the object too.
    bus_.registerObject(path, this);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        daemon->registerService(service, QDBusConnectionInterface::DontQueueService,
                                QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return role_ = Role::first;
    bus_.unregisterObject(path);
    return role_ = reply.isValid() ? Role::second : Role::alone;
}

bool SingleInstance::askToToggle(const QString& token) const {
    return askForAction(QStringLiteral("toggle"), {}, token);
}

bool SingleInstance::askToShow(const QString& token) const {
    return ask(QStringLiteral("Activate"), {}, token);
}

bool SingleInstance::askToSearch(const QString& text, const QString& token) const {
    return askForAction(QStringLiteral("search"), {text}, token);
}

bool SingleInstance::askForAction(const QString& action,
                                  const QVariantList& parameter,
                                  const QString& token) const {
    return ask(QStringLiteral("ActivateAction"), {action, QVariant(parameter)}, token);
}

bool SingleInstance::ask(const QString& method,
                         const QVariantList& arguments,
                         const QString& token) const {
    QVariantMap platformData;
    if (!token.isEmpty()) {
        platformData.insert(QStringLiteral("activation-token"), token);
        platformData.insert(QStringLiteral("desktop-startup-id"), token);
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.Application"), method);
    call.setArguments(arguments + QVariantList{platformData});
    call.setAutoStartService(false); // an instance that has just ended is not to be revived

    QDBusPendingCallWatcher watcher(bus_.asyncCall(call, static_cast<int>(limit_.count())));
    QEventLoop loop;
    connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    if (!watcher.isFinished())
        loop.exec();
    return !QDBusPendingReply<>(watcher).isError();
}

QString SingleInstance::takeActivationToken() {
    QString token;
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        if (token.isEmpty())
            token = qEnvironmentVariable(name);
        qunsetenv(name);
    }
    return token;
}

} // namespace quarrydex
