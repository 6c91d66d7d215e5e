/// What is seen while a run is under way: the stage, a bar, counts.
/// Threads: the main thread. Ownership: as every widget. Fails: never.
#pragma once

#include "QuarrydexApp/windows/DupModel.h"

#include <QWidget>

class QLabel;
class QProgressBar;

namespace quarrydex {

class DupProgressPage : public QWidget {
    Q_OBJECT

  public:
    explicit DupProgressPage(QWidget* parent = nullptr);

    void show(const DupModel& dupes);

  private:
    QLabel* stage_;
    QProgressBar* bar_;
    QLabel* counts_;
};

} // namespace quarrydex
