/// What the duplicate finder is to look for, in one row.
/// Threads: the main thread. Ownership: as every widget; refers to the DupModel, which outlives it.
/// Fails: never.
#pragma once

#include <QWidget>

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;

namespace quarrydex {

class DupModel;

class DupOptionsBar : public QWidget {
    Q_OBJECT

  public:
    explicit DupOptionsBar(DupModel& dupes, QWidget* parent = nullptr);

    void retranslate();

    /// What can be chosen now, and what is.
    void refresh();

  private:
    void layOut();
    void chosen();

    DupModel& dupes_;
    QCheckBox* identical_;
    QCheckBox* sameSong_;
    QCheckBox* acoustic_;
    QLabel* minSizeLabel_;
    QSpinBox* minSize_; ///< KB of 1,024 bytes
    QLabel* toleranceLabel_;
    QDoubleSpinBox* tolerance_; ///< seconds
};

} // namespace quarrydex
