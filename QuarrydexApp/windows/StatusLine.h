/// The line below the results: what is indexed, what goes on, what was found and what is selected.
///
///   12,345,678 entries indexed · Stick · not connected        1,024 hits · 3 ms   2 selected, 8 MB
///
/// Threads: the main thread. Ownership: as every widget; refers to the model. Fails: never.
#pragma once

#include "QuarrydexApp/table/ResultsTable.h"

#include <QWidget>

class QLabel;
class QToolButton;

namespace quarrydex {

class Model;

class StatusLine : public QWidget {
    Q_OBJECT

  public:
    explicit StatusLine(const Model& model, QWidget* parent = nullptr);

    /// Reads the model again.
    void refresh(const ResultsTable::Selection& selection);

  Q_SIGNALS:
    /// The sign for folders that could not be read or watched was clicked.
    void noticeClicked();

  private:
    [[nodiscard]] QString indexed() const;
    [[nodiscard]] QString found() const;

    const Model& model_;
    QLabel* indexed_;
    QLabel* found_;
    QLabel* selected_;
    QToolButton* notice_;
};

} // namespace quarrydex
