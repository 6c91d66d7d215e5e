/// The duplicates window: what to look for, the run, the groups with their members side by side,
/// what is to be kept of each, and the lists of it. It changes no file but the lists it is asked to
/// write.
///
///   what to look for …                                  [Find duplicates]
///   ────────────────────────────────────────────────────────────────────
///   groups and members │ or what the run is at │ or why there is nothing
///   the members of one group side by side
///   ────────────────────────────────────────────────────────────────────
///   summary, and what was left out
///   [Keep this copy] [Open] [Show in folder]                  [Save list]
///
/// Keys: Space and K keep the current copy, Return opens it, Ctrl+R shows it in its folder, Escape
/// cancels the run, and closes the window when there is none.
///
/// Threads: the main thread. Ownership: a window of its own, owns its DupModel; refers to the rest,
/// which outlives it. Closing it cancels a run; what was found is there when it is shown again.
/// Failure: told in alerts.
#pragma once

#include "QuarrydexApp/windows/DupDialogs.h"
#include "QuarrydexApp/windows/DupModel.h"
#include "QuarrydexCore/base/Subscription.h"

#include <QTimer>
#include <QWidget>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QAction;
class QLabel;
class QMenu;
class QPushButton;
class QSplitter;
class QStackedWidget;

namespace quarrydex {

class DupDetail;
class DupOptionsBar;
class DupProgressPage;
class DupTree;
class DupTreeModel;
class EmptyState;
class FileOpener;
class HintLabel;
class Model;
class Prefs;

class DuplicatesWindow : public QWidget {
    Q_OBJECT

  public:
    /// What it reaches the system by.
    struct Seams {
        DuplicateFinder::Tools tools{};
        DupDialogs dialogs = DupDialogs::ofDesktop();
    };

    DuplicatesWindow(Model& model, Prefs& prefs, FileOpener& opener, QWidget* parent = nullptr);
    DuplicatesWindow(Model& model, Prefs& prefs, FileOpener& opener, Seams seams, QWidget* parent);
    ~DuplicatesWindow() override;

    [[nodiscard]] DupModel& dupModel() { return dupes_; }

    /// Looks for duplicates on all drives that are connected.
    void findDuplicates();

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    /// A run that is over sooner shows no progress.
    static constexpr std::chrono::milliseconds calm{200};

    void makeActions();
    void makeExportMenu();
    void layOut();
    [[nodiscard]] QWidget* makeResults();
    [[nodiscard]] QWidget* makeFooter();
    void connectModel();
    void retranslate();

    void stateChanged();
    void showFirstGroup();
    void choosePage();
    void showInvitation();
    void showNothingFound();
    void refreshRunButton();
    void refreshSummary();
    void refreshActions();
    void groupsChanged(const std::vector<std::size_t>& groups);
    void currentChanged();

    [[nodiscard]] bool hasMusic() const;
    [[nodiscard]] const DupMember* currentFile() const;
    void runOrCancel();
    void keepCurrent();
    void openCurrent();
    void revealCurrent();
    void showContextMenu(const QPoint& onScreen);
    void askAndExport(DupList list);
    void exported(const DupModel::Exported& result);
    /// Why something could not be opened or shown; may be called after this is gone.
    [[nodiscard]] std::function<void(const std::string&)> failureTeller();

    Model& model_;
    FileOpener& opener_;
    const DupDialogs dialogs_;
    DupModel dupes_;
    DupTreeModel* groups_;
    QTimer progressTimer_; ///< until a run is worth showing
    QString listNotice_;   ///< what became of the last list

    DupOptionsBar* optionsBar_;
    QPushButton* runButton_;
    QStackedWidget* pages_;
    EmptyState* empty_;
    DupProgressPage* progress_;
    QSplitter* results_;
    DupTree* tree_;
    DupDetail* detail_;
    QLabel* summary_;
    HintLabel* notices_;
    QPushButton* keepButton_;
    QPushButton* openButton_;
    QPushButton* revealButton_;
    QPushButton* exportButton_;
    QMenu* exportMenu_;
    QAction* keep_;
    QAction* open_;
    QAction* reveal_;
    std::unique_ptr<Subscription> prefsWatch_;
};

} // namespace quarrydex
