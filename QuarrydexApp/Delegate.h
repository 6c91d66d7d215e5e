/// The program with windows: brings everything up in order, ties the windows, the tray, the hot key
/// and the session bus together, and saves on the way out.
///
/// Threads: the main thread, with a QApplication. Ownership: owns the model and all windows.
/// Failure: what a desktop lacks (tray, hot key, bus) is done without, and told where it matters;
/// the last window never closes without a way back.
#pragma once

#include "QuarrydexApp/dbus/ModelNameSearch.h"
#include "QuarrydexApp/dbus/Runner.h"
#include "QuarrydexApp/dbus/SearchProvider.h"
#include "QuarrydexApp/dbus/SingleInstance.h"
#include "QuarrydexApp/headless/CommandLine.h"
#include "QuarrydexApp/headless/Termination.h"
#include "QuarrydexApp/metadata/MetaClient.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/windows/Menus.h"
#include "QuarrydexCore/base/Subscription.h"

#include <QObject>
#include <QTimer>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

class QSystemTrayIcon;

namespace quarrydex {

struct AppPlatform;
class AccessWindow;
class DuplicatesWindow;
class Prefs;
class SearchPanel;
class SettingsWindow;
class SourceChooser;

class Delegate : public QObject {
    Q_OBJECT

  public:
    /// `instance`: null for a start that keeps to itself.
    Delegate(const Options& options, SingleInstance* instance);
    ~Delegate() override;

    /// `applicationDidFinishLaunching`
    void launch();

    void togglePanel();
    void showPanel();
    void searchFor(const QString& text);
    void showSourceChooser();
    void showOnboarding();
    void showSettings();
    void showDuplicates();

    /// `registerHotKey`: the chosen preset, in place of the one before.
    void registerHotKey();

    /// `refreshPolicy`: hidden windows have no entry in task bars by themselves; what is left to do
    /// is to end when there is neither a window nor a way to get one.
    void refreshPolicy();

  private:
    void makePanel();
    void makeStatusItem();
    void listenToInstance();
    void serveDesktopSearch();
    void settingChanged(std::string_view key);
    void applyLook();
    void retranslate();
    void startIndexing();
    void hidePanel();
    void applicationWillTerminate();
    [[nodiscard]] MenuCommands commands();
    [[nodiscard]] bool canBeReached() const;
    [[nodiscard]] static bool isAnyWindowVisible();
    void showUnlessReached();

    // Screenshot mode
    void snapshotIfRequested();
    void takePicture();

    const Options options_;
    Prefs& prefs_;
    SingleInstance* const instance_;
    const AppPlatform& platform_;
    Model model_;
    MetaClient files_;
    ModelNameSearch nameSearch_;
    std::unique_ptr<SearchProvider> searchProvider_;
    std::unique_ptr<Runner> runner_;
    std::unique_ptr<SearchPanel> panel_;
    std::unique_ptr<SettingsWindow> settings_;
    std::unique_ptr<DuplicatesWindow> duplicates_;
    std::unique_ptr<SourceChooser> chooser_;
    std::unique_ptr<AccessWindow> onboarding_;
    std::unique_ptr<QMenu> mainMenu_;
    std::unique_ptr<QMenu> statusMenu_;
    std::unique_ptr<QSystemTrayIcon> statusItem_;
    std::unique_ptr<Termination> sigterm_;
    std::unique_ptr<Subscription> prefsWatch_;
    const std::size_t langListener_;
    QString hotKeyProblem_;
    QTimer patience_; ///< with a tray or a hot key that is not there, or not there yet
    bool hotKeyWorks_ = false;
    bool isIndexing_ = false;
};

/// Runs the program with windows until it ends; its exit status.
[[nodiscard]] int runWindows(const Options& options, int argc, char** argv);

/// True when there is a display, or none is needed.
[[nodiscard]] bool canShowWindows(const Options& options);

} // namespace quarrydex
