/// The settings: pages beside the list of them. Every change applies at once.
///
/// Some settings take effect elsewhere, by Prefs::observe: the hot key and the appearance are the
/// application's to follow, and a LanguageChange event, sent to the window, renews its texts.
///
/// Threads: the main thread; nothing waits for a disk. Ownership: refers to model and settings,
/// which outlive it. Fails: never.
#pragma once

#include "QuarrydexApp/windows/WindowSeams.h"
#include "QuarrydexCore/base/Subscription.h"

#include <QWidget>

#include <cstdint>
#include <memory>
#include <vector>

class QListWidget;
class QStackedWidget;

namespace quarrydex {

class GeneralPage;
class Model;
class Prefs;
class SettingsPage;

class SettingsWindow : public QWidget {
    Q_OBJECT

  public:
    enum class Page : std::uint8_t { general, sources, exclusions, fileTypes, categories, offline };

    SettingsWindow(Model& model, Prefs& prefs, QWidget* parent = nullptr, WindowSeams seams = {});
    ~SettingsWindow() override;

    void showPage(Page page);

    /// What came of registering the hot key, below the choice of it; empty when it works.
    void setHotKeyProblem(const QString& problem);

  protected:
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void build();
    void addPage(SettingsPage* page);
    void retranslate();

    Prefs& prefs_;
    const WindowSeams seams_;
    QListWidget* sections_;
    QStackedWidget* stack_;
    GeneralPage* general_;
    std::vector<SettingsPage*> pages_; ///< in the order of Page
    std::unique_ptr<Subscription> prefsWatch_;
};

} // namespace quarrydex
