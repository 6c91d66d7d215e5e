#include "QuarrydexApp/Delegate.h"

#include "QuarrydexActions/platform/ActionsPlatform.h"
#include "QuarrydexApp/dbus/BusNames.h"
#include "QuarrydexApp/headless/Session.h"
#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/platform/AppPlatform.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/AccessWindow.h"
#include "QuarrydexApp/windows/DuplicatesWindow.h"
#include "QuarrydexApp/windows/SearchPanel.h"
#include "QuarrydexApp/windows/SettingsWindow.h"
#include "QuarrydexApp/windows/SourceChooser.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/text/Lang.h"
#include "QuarrydexCore/text/tr.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QEvent>
#include <QFile>
#include <QLocale>
#include <QMessageBox>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <chrono>

namespace quarrydex {

namespace {

/// In front of everything, with the keyboard.
void bringForward(QWidget& window) {
    window.show();
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.raise();
    window.activateWindow();
    // A window that was hidden a moment ago has the focus yet. It then gets none by being shown,
    // and would not count as active.
    if (!window.isActiveWindow() && QGuiApplication::focusWindow() == window.windowHandle())
        QApplication::setActiveWindow(&window);
}

/// A desktop lets a window come to the front when it is shown the token of what the user clicked.
void allowForward(const QString& token) {
    if (!token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

/// Not by QApplication::quit(), which asks every window first, and the panel never wants to close.
void endProgram() {
    QCoreApplication::exit(0);
}

/// Until a window takes the place of a tray that went, or of a hot key that was not granted.
constexpr std::chrono::seconds patience{5};

/// Exit status of a start that was to make a picture and could not.
constexpr int cannotRender = 3;

/// Tells whoever measures when the first rows stood in the window.
class FirstRows final : public QObject {
  public:
    FirstRows(ResultsTable& table, std::uint64_t startNs)
        : QObject(&table), table_(table), startNs_(startNs) {
        table.viewport()->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && table_.shown().count() > 0) {
            watched->removeEventFilter(this);
            // What is posted now is handled when the whole frame is done.
            QMetaObject::invokeMethod(this, &FirstRows::tell, Qt::QueuedConnection);
        }
        return false;
    }

  private:
    void tell() const {
        const std::uint64_t now = systemPlatform().clock.monotonicNs();
        logLine("first rows painted " + std::to_string((now - startNs_) / 1'000) +
                " µs after the start of main()");
    }

    const ResultsTable& table_;
    const std::uint64_t startNs_;
};

} // namespace

Delegate::Delegate(const Options& options, SingleInstance* instance)
    : options_(options), prefs_(Prefs::shared()), instance_(instance),
      platform_(systemAppPlatform()), model_(modelOptions(options)),
      nameSearch_(model_, systemPlatform().clock),
      // The setting is told of before it takes effect.
      langListener_(Lang::shared().addListener([this] { retranslate(); })) {}

Delegate::~Delegate() {
    Lang::shared().removeListener(langListener_);
}

void Delegate::launch() {
    applyLook();
    sigterm_ = std::make_unique<Termination>(endProgram);
    connect(qApp, &QApplication::aboutToQuit, this, &Delegate::applicationWillTerminate);
    connect(qApp, &QApplication::lastWindowClosed, this, &Delegate::refreshPolicy);
    makePanel();
    const bool isPicture = !options_.screenshot.file.empty();
    if (!isPicture) {
        makeStatusItem();
        registerHotKey();
        listenToInstance();
        serveDesktopSearch();
        if (options_.ask == Options::Ask::background)
            patience_.start(); // the hot key may be granted later
        else
            showPanel();
        if (options_.ask == Options::Ask::search)
            searchFor(qt(options_.askText));
    }
    prefsWatch_ = prefs_.observe([this](std::string_view key) { settingChanged(key); });
    startIndexing();
    snapshotIfRequested();
}

void Delegate::makePanel() {
    panel_ = std::make_unique<SearchPanel>(
        ResultsTable::Services{model_, prefs_, platform_.opener, files_, systemActionsPlatform()});
    if (isVerbose())
        new FirstRows(panel_->table(), options_.startNs); // a child of the table
    if (!options_.showColumns.empty())
        panel_->table().overrideColumns(options_.showColumns);
    mainMenu_ = buildMainMenu(commands());
    panel_->setMainMenu(mainMenu_.get());
    connect(panel_.get(), &SearchPanel::hideRequested, this, &Delegate::hidePanel);
    connect(panel_.get(), &SearchPanel::sourceChooserRequested, this, &Delegate::showSourceChooser);
    connect(panel_.get(), &SearchPanel::accessWindowRequested, this, &Delegate::showOnboarding);
}

void Delegate::makeStatusItem() {
    statusMenu_ = buildStatusMenu(commands());
    statusItem_ = std::make_unique<QSystemTrayIcon>(symbolIcon("magnifyingglass"));
    statusItem_->setContextMenu(statusMenu_.get());
    statusItem_->setToolTip(QString::fromUtf8(appName));
    connect(statusItem_.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    togglePanel();
            });
    statusItem_->show();
    // Whoever hid the windows counts on the tray. One that was started anew takes the item again.
    auto* watcher = new QDBusServiceWatcher(QStringLiteral("org.kde.StatusNotifierWatcher"),
                                            QDBusConnection::sessionBus(),
                                            QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, &patience_,
            qOverload<>(&QTimer::start));
    patience_.setSingleShot(true);
    patience_.setInterval(patience);
    connect(&patience_, &QTimer::timeout, this, &Delegate::showUnlessReached);
}

void Delegate::listenToInstance() {
    if (instance_ == nullptr)
        return;
    connect(instance_, &SingleInstance::toggleRequested, this, [this](const QString& token) {
        allowForward(token);
        togglePanel();
    });
    connect(instance_, &SingleInstance::showRequested, this, [this](const QString& token) {
        allowForward(token);
        showPanel();
    });
    connect(instance_, &SingleInstance::duplicatesRequested, this, [this](const QString& token) {
        allowForward(token);
        showDuplicates();
    });
    connect(instance_, &SingleInstance::searchRequested, this,
            [this](const QString& text, const QString& token) {
                allowForward(token);
                searchFor(text);
            });
}

void Delegate::serveDesktopSearch() {
    if (instance_ == nullptr)
        return;
    // Whoever asked has gone by then: a failure is told in the log.
    const auto failed = [](const std::string& message) { logLine(message); };
    const QDBusConnection bus = QDBusConnection::sessionBus();
    searchProvider_ = std::make_unique<SearchProvider>(nameSearch_, platform_.opener, failed);
    runner_ = std::make_unique<Runner>(nameSearch_, platform_.opener, failed);
    connect(searchProvider_.get(), &SearchProvider::searchRequested, this, &Delegate::searchFor);
    if (!searchProvider_->serve(bus) || !runner_->serve(bus))
        logLine("the session bus does not take the desktop's searches");
}

void Delegate::searchFor(const QString& text) {
    showPanel();
    panel_->setQuery(text);
}

MenuCommands Delegate::commands() {
    return {.togglePanel = [this] { togglePanel(); },
            .showDuplicates = [this] { showDuplicates(); },
            .showSettings = [this] { showSettings(); },
            .checkForUpdates =
                [this] {
                    QMessageBox::information(
                        panel_.get(), QString::fromUtf8(appName),
                        qt(quarrydex::tr("Updates are not set up in this version")));
                },
            .showAbout =
                [this] {
                    QMessageBox::about(panel_.get(), QString::fromUtf8(appName),
                                       QString::fromUtf8(appName) + QLatin1Char(' ') +
                                           QString::fromUtf8(appVersion));
                },
            .hide = [this] { hidePanel(); },
            .hideOthers =
                [] {
                    for (QWidget* window : QApplication::topLevelWidgets())
                        if (window->isVisible() && window != QApplication::activeWindow())
                            window->hide();
                },
            .showAll = [this] { showPanel(); },
            .minimize =
                [] {
                    if (QWidget* window = QApplication::activeWindow())
                        window->showMinimized();
                },
            .zoom =
                [] {
                    if (QWidget* window = QApplication::activeWindow())
                        window->isMaximized() ? window->showNormal() : window->showMaximized();
                },
            .quit = endProgram};
}

// --- Panel and windows --------------------------------------------------------------------------

void Delegate::togglePanel() {
    if (panel_->isVisible() && panel_->isActiveWindow())
        hidePanel();
    else
        showPanel();
}

void Delegate::showPanel() {
    bringForward(*panel_);
    refreshPolicy();
    panel_->focusSearch();
}

void Delegate::hidePanel() {
    panel_->hide();
    refreshPolicy();
}

void Delegate::showSourceChooser() {
    if (chooser_ == nullptr) {
        chooser_ = std::make_unique<SourceChooser>(model_, prefs_);
        connect(chooser_.get(), &SourceChooser::finished, this, [this](bool accepted) {
            chooser_->hide();
            chooser_.release()->deleteLater();
            if (accepted && isIndexing_)
                model_.applySources();
            else if (accepted)
                startIndexing();
            showPanel();
        });
    }
    bringForward(*chooser_);
}

void Delegate::showOnboarding() {
    if (onboarding_ == nullptr)
        onboarding_ = std::make_unique<AccessWindow>(model_, prefs_);
    bringForward(*onboarding_);
}

void Delegate::showSettings() {
    if (settings_ == nullptr)
        settings_ = std::make_unique<SettingsWindow>(
            model_, prefs_, nullptr, WindowSeams{.loginStart = &platform_.loginStart});
    settings_->setHotKeyProblem(hotKeyProblem_);
    bringForward(*settings_);
}

void Delegate::showDuplicates() {
    if (duplicates_ == nullptr)
        duplicates_ = std::make_unique<DuplicatesWindow>(model_, prefs_, platform_.opener);
    bringForward(*duplicates_);
}

void Delegate::registerHotKey() {
    const HotKeyPreset& preset = prefs_.hotKey();
    platform_.hotKey.register_(
        preset.keyCode, preset.modifiers, [this] { togglePanel(); },
        [this, title = preset.wordTitle()](HotKey::Outcome outcome) {
            hotKeyWorks_ = outcome == HotKey::Outcome::registered;
            hotKeyProblem_.clear();
            if (outcome == HotKey::Outcome::taken)
                hotKeyProblem_ = qt(
                    quarrydex::tr("{keys} belongs to another program. Choose another combination.",
                                  {{"keys", title}}));
            else if (outcome == HotKey::Outcome::unavailable)
                hotKeyProblem_ = qt(quarrydex::tr(
                    "This desktop does not give keys to programs. Bind one to “{command}” in its "
                    "own settings.",
                    {{"command", "quarrydex --toggle"}}));
            if (settings_ != nullptr)
                settings_->setHotKeyProblem(hotKeyProblem_);
        });
}

bool Delegate::canBeReached() const {
    return hotKeyWorks_ || (statusItem_ != nullptr && QSystemTrayIcon::isSystemTrayAvailable());
}

bool Delegate::isAnyWindowVisible() {
    const auto isVisible = [](const QWidget* window) { return window->isVisible(); };
    return std::ranges::any_of(QApplication::topLevelWidgets(), isVisible);
}

void Delegate::refreshPolicy() {
    if (!isAnyWindowVisible() && !canBeReached())
        endProgram();
}

void Delegate::showUnlessReached() {
    if (!isAnyWindowVisible() && !canBeReached())
        showPanel();
}

// --- Settings -----------------------------------------------------------------------------------

void Delegate::settingChanged(std::string_view key) {
    if (key == Prefs::Key::hotkeyPreset)
        registerHotKey();
    else if (key == Prefs::Key::appearance)
        applyLook();
}

void Delegate::applyLook() {
    const std::string& asked = options_.screenshot.appearance;
    const bool isPicture = !options_.screenshot.file.empty() && !asked.empty();
    const std::string setting =
        isPicture ? std::string(asked == "dark" ? "dark" : "light") : prefs_.appearance();
    // Before the style is set for the first time the palette is the desktop's own.
    static const bool systemIsDark =
        QApplication::palette().color(QPalette::Window).lightness() < 128;
    applyAppearance(setting, systemIsDark);
}

void Delegate::retranslate() {
    QLocale::setDefault(QLocale(qt(Lang::shared().locale())));
    mainMenu_ = buildMainMenu(commands());
    panel_->setMainMenu(mainMenu_.get());
    if (statusItem_ != nullptr) {
        auto menu = buildStatusMenu(commands());
        statusItem_->setContextMenu(menu.get()); // touches the old one, which is gone only then
        statusMenu_ = std::move(menu);
    }
    for (QWidget* window : QApplication::topLevelWidgets())
        QCoreApplication::postEvent(window, new QEvent(QEvent::LanguageChange));
}

void Delegate::startIndexing() {
    if (options_.roots.empty() && !prefs_.configured()) {
        showSourceChooser();
        return;
    }
    isIndexing_ = true;
    model_.startScans();
}

void Delegate::applicationWillTerminate() {
    platform_.hotKey.unregister();
    model_.saveAll();
}

// --- Screenshot ---------------------------------------------------------------------------------

void Delegate::snapshotIfRequested() {
    const Options::Screenshot& wanted = options_.screenshot;
    if (wanted.file.empty())
        return;
    panel_->setQuery(qt(wanted.query));
    panel_->chooseCategory(wanted.filter);
    panel_->show();
    if (wanted.dupes) {
        showDuplicates();
        duplicates_->findDuplicates();
    }
    if (wanted.chooser)
        showSourceChooser();
    if (wanted.settings)
        showSettings();
    QTimer::singleShot(std::chrono::milliseconds(static_cast<std::int64_t>(wanted.afterS * 1000)),
                       this, &Delegate::takePicture);
}

void Delegate::takePicture() {
    if (options_.screenshot.select)
        panel_->table().selectFirstRow();
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents); // what the rows bring about
    QWidget* window = panel_.get();
    if (duplicates_ != nullptr)
        window = duplicates_.get();
    else if (chooser_ != nullptr)
        window = chooser_.get();
    else if (settings_ != nullptr)
        window = settings_.get();
    const QPixmap picture = window->grab();
    const bool isSaved = !picture.isNull() &&
                         picture.save(QFile::decodeName(options_.screenshot.file.c_str()), "PNG");
    QApplication::exit(isSaved ? 0 : cannotRender);
}

// --- The program --------------------------------------------------------------------------------

bool canShowWindows(const Options& options) {
    const auto isSet = [](const char* name) { return !qEnvironmentVariableIsEmpty(name); };
    return !options.screenshot.file.empty() || isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") ||
           isSet("QT_QPA_PLATFORM");
}

int runWindows(const Options& options, int argc, char** argv) {
    const auto isSet = [](const char* name) { return !qEnvironmentVariableIsEmpty(name); };
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QString token = SingleInstance::takeActivationToken();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QString::fromUtf8(appName));
    QGuiApplication::setDesktopFileName(QLatin1String(busNames::service));
    QApplication::setWindowIcon(
        QIcon::fromTheme(QLatin1String(busNames::service), symbolIcon("magnifyingglass")));
    QApplication::setQuitOnLastWindowClosed(false);
    Prefs& prefs = Prefs::shared();
    if (!options.kindStyle.empty())
        prefs.overrideKindStyle(options.kindStyle);
    Lang::shared().setChoice(prefs.language());
    QLocale::setDefault(QLocale(qt(Lang::shared().locale())));

    std::unique_ptr<SingleInstance> instance;
    if (goesToRunningInstance(options)) {
        instance = std::make_unique<SingleInstance>(QDBusConnection::sessionBus());
        if (instance->claim() == SingleInstance::Role::second) {
            if (options.ask == Options::Ask::background)
                return 0; // it is there
            const bool isDone = options.ask == Options::Ask::toggle ? instance->askToToggle(token)
                                : options.ask == Options::Ask::search
                                    ? instance->askToSearch(qt(options.askText), token)
                                    : instance->askToShow(token);
            if (isDone)
                return 0;
        }
    }
    Delegate delegate(options, instance.get());
    delegate.launch();
    return QApplication::exec();
}

} // namespace quarrydex
