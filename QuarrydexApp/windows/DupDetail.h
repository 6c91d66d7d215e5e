/// One group with its members side by side: what they have in common, where they differ, and why
/// one of them is suggested.
///
/// Threads: the main thread. Ownership: as every widget; refers to the DupModel, which outlives it.
/// Fails: never.
#pragma once

#include "QuarrydexApp/windows/DupTree.h"

#include <QWidget>

#include <optional>

class QLabel;
class QTableView;

namespace quarrydex {

class DupDetailModel;
class DupModel;

class DupDetail : public QWidget {
    Q_OBJECT

  public:
    explicit DupDetail(const DupModel& dupes, QWidget* parent = nullptr);

    /// The group of that place, its member selected; nothing without a place.
    void show(std::optional<DupTree::Place> place);

    /// The same group anew: its members, the choice or the language changed.
    void refresh();

    /// What has the keyboard here.
    [[nodiscard]] QTableView& table() { return *table_; }

  Q_SIGNALS:
    /// The user went to another member of the group.
    void memberChosen(std::size_t member);

  private:
    void fillGroup();
    void setColumnWidths();
    void select(std::optional<std::size_t> member);

    const DupModel& dupes_;
    DupDetailModel* members_;
    std::optional<DupTree::Place> place_;
    QLabel* reason_;
    QTableView* table_;
    bool isFilling_ = false; ///< what is selected now was not chosen by the user
};

} // namespace quarrydex
