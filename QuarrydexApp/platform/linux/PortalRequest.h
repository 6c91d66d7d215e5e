/// One call of the desktop portal, whose result comes later and as a signal: the desktop may ask
/// the user first.
///
/// Threads: the main thread, with an event loop. Ownership: its parent's; goes by itself after the
/// answer, and withdraws the question when it is destroyed before. Failure: an answer that is not
/// granted.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

#include <functional>

namespace quarrydex {

namespace portal {

inline constexpr char service[] = "org.freedesktop.portal.Desktop";
inline constexpr char path[] = "/org/freedesktop/portal/desktop";

/// Tells the portal that a request or session is not wanted any more.
void close(const QDBusConnection& bus, const QString& object, const QString& interface);

} // namespace portal

class PortalRequest : public QObject {
    Q_OBJECT

  public:
    struct Answer {
        bool isGranted = false;
        QVariantMap results;
    };

    using Answered = std::function<void(const Answer&)>;

    /// Calls the interface's method with the arguments, and with the options after them.
    PortalRequest(const QDBusConnection& bus,
                  const QString& interface,
                  const QString& method,
                  const QVariantList& arguments,
                  QVariantMap options,
                  Answered answered,
                  QObject* parent);
    ~PortalRequest() override;

    /// A word that no other request or session of this process has.
    [[nodiscard]] static QString newToken();

  private Q_SLOTS:
    void takeResponse(uint response, const QVariantMap& results);

  private:
    void listenTo(const QString& handle);
    void finish(const Answer& answer);

    QDBusConnection bus_;
    QString handle_; ///< path of the request's object
    Answered answered_;
};

} // namespace quarrydex
