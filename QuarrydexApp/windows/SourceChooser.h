/// The window in which the user chooses what is indexed: at the first run, and whenever it is
/// opened again.
///
/// Nothing is stored before the user confirms. Then the choice of every drive shown is stored,
/// accepted() says that the volumes are to follow it (Model::startScans, or applySources once that
/// was called), and finished() that the window is done with: it is made anew each time.
///
/// Threads: the main thread. Ownership: refers to model and settings, which outlive it. Fails:
/// never.
#pragma once

#include "QuarrydexApp/windows/WindowSeams.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace quarrydex {

class HintLabel;
class Model;
class Prefs;
class SourceEditor;

class SourceChooser : public QWidget {
    Q_OBJECT

  public:
    SourceChooser(Model& model,
                  Prefs& prefs,
                  QWidget* parent = nullptr,
                  const WindowSeams& seams = {});

    /// The drives are being asked; the window cannot be confirmed yet.
    [[nodiscard]] bool isBusy() const;

    void accept();
    void reject();

  Q_SIGNALS:
    void accepted();
    void finished(bool accepted);

  protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void build();
    void retranslate();

    Prefs& prefs_;
    SourceEditor* editor_;
    QLabel* heading_;
    HintLabel* explanation_;
    QPushButton* confirm_;
    QPushButton* cancel_;
    bool isDone_ = false; ///< it has been told
};

} // namespace quarrydex
