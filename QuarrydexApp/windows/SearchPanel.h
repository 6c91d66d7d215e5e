/// The search window: field, categories, drives, results, status.
///
/// What is typed searches. Arrow keys lead from the field into the results, letters and Backspace
/// back to it. Return opens, Escape clears and then hides. Alt+digit chooses a category.
///
/// Threads: the main thread. Ownership: a window of its own; refers to the services, which outlive
/// it. Failure: a query that cannot be parsed is told below the field, the last results stay.
#pragma once

#include "QuarrydexApp/model/HitAdvice.h"
#include "QuarrydexApp/table/ResultsTable.h"
#include "QuarrydexApp/windows/EmptyState.h"
#include "QuarrydexCore/base/Subscription.h"

#include <QTimer>
#include <QWidget>

#include <memory>
#include <string>
#include <vector>

class QFrame;
class QLabel;
class QLineEdit;
class QMenu;
class QStackedWidget;
class QToolButton;

namespace quarrydex {

class Chip;
class FlowLayout;
class QuickLook;
class StatusLine;

class SearchPanel : public QWidget {
    Q_OBJECT

  public:
    explicit SearchPanel(const ResultsTable::Services& services, QWidget* parent = nullptr);
    ~SearchPanel() override;

    /// The field takes the keyboard, its text selected.
    void focusSearch();

    /// As if it was typed.
    void setQuery(const QString& text);

    /// "" for all files, "folders", or the id of a category; unknown ones are as "".
    void chooseCategory(const std::string& id);

    /// What the button beside the field opens.
    void setMainMenu(QMenu* menu);

    [[nodiscard]] ResultsTable& table() { return *table_; }

  Q_SIGNALS:
    void hideRequested();
    void sourceChooserRequested();
    void accessWindowRequested();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    struct CategoryChip {
        std::string id;
        Chip* chip;
    };

    struct VolumeChip {
        std::weak_ptr<VolumeState> volume;
        Chip* chip;
    };

    void layOut();
    void connectModel();
    void retranslate();
    void settingChanged(std::string_view key);

    void remakeCategoryChips();
    void refreshVolumeChips();
    void removeVolumeChips();
    void removeChip(Chip& chip);
    void addVolumeChip(const std::shared_ptr<VolumeState>& volume);
    void refreshNewDrives();

    void queryTyped();
    void showQueryError();
    void resultsArrived();
    void refreshStatus();

    /// Table or empty state, and which one.
    void chooseView();
    void showNoSources();
    void showInvitation();
    void showNoHits();
    void offerAdvice(const std::vector<HitAdvice::Without>& advice);
    [[nodiscard]] EmptyState::Content noHits() const;

    // SearchPanelInput.cpp: keys and preview
    /// Keys of the field that are meant for the results.
    bool forwardToTable(QKeyEvent& event);
    void typeInField(const QString& text);
    void toggleQuickLook();
    void showPreview();
    void followSelection();
    void moveByPreview(int by);
    void followPreview(std::size_t file);

    const ResultsTable::Services services_;
    HitAdvice advice_;
    QTimer adviceTimer_; ///< advice is asked for once typing pauses
    std::string category_;
    QLineEdit* field_;
    QToolButton* menuButton_;
    QLabel* error_;
    FlowLayout* chips_;
    QFrame* divider_; ///< between categories and drives
    std::vector<CategoryChip> categoryChips_;
    std::vector<VolumeChip> volumeChips_;
    QWidget* newDrives_;
    QStackedWidget* views_;
    ResultsTable* table_;
    EmptyState* empty_;
    StatusLine* status_;
    std::unique_ptr<QuickLook> quickLook_;
    std::vector<RowKey> previewed_; ///< the rows of its files
    std::unique_ptr<Subscription> prefsWatch_;
};

} // namespace quarrydex
