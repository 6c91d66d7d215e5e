/// One instance of the program per user: whoever owns the name on the session bus is it, and later
/// starts tell it what they are for.
///
///     SingleInstance instance(QDBusConnection::sessionBus());
///     if (instance.claim() == SingleInstance::Role::second && instance.askToShow(token))
///         return 0;
///
/// The first instance serves two interfaces at busNames::path: org.freedesktop.Application, by
/// which desktops start and call programs and later starts speak too, since it passes activation
/// tokens; and io.github.quarrydex.Quarrydex with Toggle, Show and Search(text) for scripts. What
/// comes in is bounded: longer texts are refused, longer tokens dropped.
///
/// Without a session bus every start is alone: catalogues are safe then too, since one process at a
/// time writes them, but starts do not find each other.
///
/// Threads: the main thread. Signals need an event loop; claim() waits for the bus, a matter of
/// microseconds. Failure: Role::alone, or false.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantList>

#include <chrono>

namespace quarrydex {

class SingleInstance : public QObject {
    Q_OBJECT

  public:
    enum class Role : std::uint8_t {
        first,  ///< this process: signals follow
        second, ///< another one is there to be asked
        alone,  ///< there is no bus to ask
    };

    static constexpr qsizetype maxText = 4096; ///< characters of a text from the bus
    static constexpr qsizetype maxToken = 512;

    explicit SingleInstance(const QDBusConnection& bus, QObject* parent = nullptr);
    ~SingleInstance() override;

    /// Takes the name when it is free. May be repeated: the first instance may have ended.
    [[nodiscard]] Role claim();

    /// Each tells the running instance and waits for it, running the event loop for `limit` at
    /// most. False when none answers; it may have ended, or hang.
    [[nodiscard]] bool askToToggle(const QString& token) const;
    [[nodiscard]] bool askToShow(const QString& token) const;
    [[nodiscard]] bool askToSearch(const QString& text, const QString& token) const;

    void setLimit(std::chrono::milliseconds limit) { limit_ = limit; }

    /// The token that lets a window of this start come to the front, from the environment, which
    /// then forgets it: programs started later must not inherit it. REQUIRES: no QGuiApplication
    /// yet, which takes it too.
    [[nodiscard]] static QString takeActivationToken();

  Q_SIGNALS:
    /// `activationToken` is empty where whoever asks has none.
    void toggleRequested(const QString& activationToken);
    void showRequested(const QString& activationToken);
    /// An empty text: the search starts anew.
    void searchRequested(const QString& text, const QString& activationToken);
    void duplicatesRequested(const QString& activationToken);

  private:
    [[nodiscard]] bool
    askForAction(const QString& action, const QVariantList& parameter, const QString& token) const;
    [[nodiscard]] bool
    ask(const QString& method, const QVariantList& arguments, const QString& token) const;

    QDBusConnection bus_;
    Role role_ = Role::alone;
    std::chrono::milliseconds limit_{3000};
};

} // namespace quarrydex
