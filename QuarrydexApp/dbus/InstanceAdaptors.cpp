#include "QuarrydexApp/dbus/InstanceAdaptors.h"

#include <QDBusError>

#include <utility>

namespace quarrydex {

namespace {

/// The sender's token under either of its names.
QString tokenIn(const QVariantMap& platformData) {
    for (const char* name : {"activation-token", "desktop-startup-id"}) {
        QString token = platformData.value(QLatin1String(name)).toString();
        if (!token.isEmpty() && token.size() <= SingleInstance::maxToken)
            return token;
    }
    return {};
}

/// Answers the call with an error in place of a reply.
void refuse(const QDBusConnection& bus, const QDBusMessage& call, const char* reason) {
    call.setDelayedReply(true);
    bus.send(call.createErrorReply(QDBusError::InvalidArgs, QLatin1String(reason)));
}

/// Emits the signal once the call has its reply.
template <typename... Parameters>
void emitLater(SingleInstance& instance,
               void (SingleInstance::*signal)(Parameters...),
               const std::decay_t<Parameters>&... values) {
    QMetaObject::invokeMethod(
        &instance, [&instance, signal, values...] { (instance.*signal)(values...); },
        Qt::QueuedConnection);
}

} // namespace

ScriptAdaptor::ScriptAdaptor(SingleInstance& instance, const QDBusConnection& bus)
    : QDBusAbstractAdaptor(&instance), instance_(instance), bus_(bus) {}

void ScriptAdaptor::Toggle() {
    emitLater(instance_, &SingleInstance::toggleRequested, {});
}

void ScriptAdaptor::Show() {
    emitLater(instance_, &SingleInstance::showRequested, {});
}

void ScriptAdaptor::Search(const QString& text, const QDBusMessage& call) {
    if (text.size() > SingleInstance::maxText)
        refuse(bus_, call, "the text is too long");
    else
        emitLater(instance_, &SingleInstance::searchRequested, text, {});
}

ApplicationAdaptor::ApplicationAdaptor(SingleInstance& instance, const QDBusConnection& bus)
    : QDBusAbstractAdaptor(&instance), instance_(instance), bus_(bus) {}

void ApplicationAdaptor::Activate(const QVariantMap& platformData) {
    emitLater(instance_, &SingleInstance::showRequested, tokenIn(platformData));
}

void ApplicationAdaptor::Open(const QStringList&, const QVariantMap& platformData) {
    Activate(platformData);
}

void ApplicationAdaptor::ActivateAction(const QString& name,
                                        const QVariantList& parameter,
                                        const QVariantMap& platformData,
                                        const QDBusMessage& call) {
    const QString token = tokenIn(platformData);
    const QString text = parameter.isEmpty() ? QString() : parameter.first().toString();
    if (text.size() > SingleInstance::maxText)
        refuse(bus_, call, "the parameter is too long");
    else if (name == QLatin1String("toggle"))
        emitLater(instance_, &SingleInstance::toggleRequested, token);
    else if (name == QLatin1String("show"))
        emitLater(instance_, &SingleInstance::showRequested, token);
    else if (name == QLatin1String("search") || name == QLatin1String("new-search"))
        emitLater(instance_, &SingleInstance::searchRequested, text, token);
    else if (name == QLatin1String("find-duplicates"))
        emitLater(instance_, &SingleInstance::duplicatesRequested, token);
    else
        refuse(bus_, call, "there is no such action");
}

} // namespace quarrydex
