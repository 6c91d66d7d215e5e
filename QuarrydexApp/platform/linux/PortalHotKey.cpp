#include "QuarrydexApp/platform/linux/PortalHotKey.h"

#include "QuarrydexApp/platform/linux/Keys.h"
#include "QuarrydexApp/platform/linux/PortalTypes.h"
#include "QuarrydexCore/text/tr.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusServiceWatcher>

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString shortcutId = QStringLiteral("toggle");

/// "ALT+LOGO+f"
QString triggerFor(const HotKeyKey& key, std::uint32_t modifiers) {
    constexpr std::pair<std::uint32_t, const char*> words[] = {
        {controlBit, "CTRL+"}, {altBit, "ALT+"}, {shiftBit, "SHIFT+"}, {superBit, "LOGO+"}};
    QString out;
    for (const auto& [bit, word] : words)
        if ((modifiers & bit) != 0)
            out += QLatin1String(word);
    return out + QLatin1String(key.name);
}

} // namespace

PortalHotKey::PortalHotKey(const QDBusConnection& bus) : bus_(bus) {
    // Else the slot's types are unknown by name, and it is not connected.
    qRegisterMetaType<QDBusObjectPath>();
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    bus_.connect(QLatin1String(portal::service), QLatin1String(portal::path), shortcutsInterface,
                 QStringLiteral("Activated"), this,
                 SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    auto* watcher = new QDBusServiceWatcher(QLatin1String(portal::service), bus_,
                                            QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(
        watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& owner) { serviceChanged(owner); });
}

PortalHotKey::~PortalHotKey() {
    unregister();
}

void PortalHotKey::register_(std::uint32_t keyCode,
                             std::uint32_t modifiers,
                             std::function<void()> pressed,
                             std::function<void(Outcome)> answer) {
    unregister();
    answer_ = std::move(answer);
    const HotKeyKey* key = hotKeyKey(keyCode);
    if (key == nullptr) {
        finish(Outcome::unavailable);
        return;
    }
    pressed_ = std::move(pressed);
    trigger_ = triggerFor(*key, modifiers);
    mayAskAgain_ = true;
    createSession();
}

void PortalHotKey::unregister() {
    delete request_;
    if (!session_.isEmpty())
        portal::close(bus_, session_, QStringLiteral("org.freedesktop.portal.Session"));
    session_.clear();
    isBound_ = false;
    pressed_ = nullptr;
    answer_ = nullptr;
}

void PortalHotKey::createSession() {
    const QVariantMap options{{QStringLiteral("session_handle_token"), PortalRequest::newToken()}};
    const auto created = [this](const PortalRequest::Answer& answer) {
        request_.clear(); // it goes by itself
        // A text by the portal's rules, although it is the path of an object.
        const QVariant handle = answer.results.value(QStringLiteral("session_handle"));
        session_ = handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path()
                                                        : handle.toString();
        if (answer.isGranted && !session_.isEmpty())
            bindShortcut();
        else
            finish(Outcome::unavailable);
    };
    request_ = new PortalRequest(bus_, shortcutsInterface, QStringLiteral("CreateSession"), {},
                                 options, created, this);
}

void PortalHotKey::bindShortcut() {
    const PortalShortcut wanted{
        shortcutId,
        {{QStringLiteral("description"),
          QString::fromStdString(quarrydex::tr("Show or hide the search window"))},
         {QStringLiteral("preferred_trigger"), trigger_}}};
    const QVariantList arguments{QVariant::fromValue(QDBusObjectPath(session_)),
                                 QVariant::fromValue(QList<PortalShortcut>{wanted}),
                                 QString()}; // no parent window
    const auto bound = [this](const PortalRequest::Answer& answer) {
        request_.clear();
        const auto given =
            qdbus_cast<QList<PortalShortcut>>(answer.results.value(QStringLiteral("shortcuts")));
        isBound_ = answer.isGranted && std::ranges::any_of(given, [](const PortalShortcut& one) {
                       return one.id == shortcutId;
                   });
        finish(isBound_ ? Outcome::registered : Outcome::unavailable);
    };
    request_ = new PortalRequest(bus_, shortcutsInterface, QStringLiteral("BindShortcuts"),
                                 arguments, {}, bound, this);
}

void PortalHotKey::finish(Outcome outcome) {
    if (outcome != Outcome::registered)
        pressed_ = nullptr;
    if (const auto answer = std::exchange(answer_, nullptr))
        answer(outcome);
}

/// The portal's sessions end with its process, and so do its questions.
void PortalHotKey::serviceChanged(const QString& newOwner) {
    if (newOwner.isEmpty()) {
        session_.clear();
        const bool wasAsked = request_ != nullptr;
        delete request_;
        // The notice may be older than the question, and then of the portal before.
        if (wasAsked && !isBound_ && std::exchange(mayAskAgain_, false))
            createSession();
        else if (!isBound_)
            finish(Outcome::unavailable);
    } else if (isBound_ && session_.isEmpty()) {
        createSession();
    }
}

void PortalHotKey::activated(const QDBusObjectPath& session,
                             const QString& shortcut,
                             qulonglong,
                             const QVariantMap&) {
    if (!isBound_ || session.path() != session_ || shortcut != shortcutId)
        return;
    if (const auto pressed = pressed_) // which may register anew
        pressed();
}

} // namespace quarrydex
