/// HotKey by the desktop portal's global shortcuts: the way where programs cannot grab keys
/// themselves. The desktop may ask the user, and may give another combination than was wished for.
///
/// Threads: the main thread, with an event loop. Failure: unavailable where there is no such portal
/// or the user refuses, also when the portal ends before its answer. When the portal is started
/// anew, the shortcut is bound again.
#pragma once

#include "QuarrydexApp/platform/HotKey.h"
#include "QuarrydexApp/platform/linux/PortalRequest.h"

#include <QDBusObjectPath>
#include <QObject>
#include <QPointer>

namespace quarrydex {

class PortalHotKey final : public QObject, public HotKey {
    Q_OBJECT

  public:
    explicit PortalHotKey(const QDBusConnection& bus);
    ~PortalHotKey() override;

    void register_(std::uint32_t keyCode,
                   std::uint32_t modifiers,
                   std::function<void()> pressed,
                   std::function<void(Outcome)> answer) override;

    void unregister() override;

  private Q_SLOTS:
    void activated(const QDBusObjectPath& session,
                   const QString& shortcut,
                   qulonglong timestamp,
                   const QVariantMap& options);

  private:
    void createSession();
    void bindShortcut();
    void finish(Outcome outcome);
    void serviceChanged(const QString& newOwner);

    QDBusConnection bus_;
    QPointer<PortalRequest> request_; ///< the question under way, if any
    QString trigger_;                 ///< the wish, as the portal writes combinations
    QString session_;                 ///< path of the session's object; empty: none
    bool isBound_ = false;
    bool mayAskAgain_ = false; ///< once: a portal may end at every question
    std::function<void()> pressed_;
    std::function<void(Outcome)> answer_;
};

} // namespace quarrydex
