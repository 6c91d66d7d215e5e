/// What limits the index here, drive by drive, and the way to mend it. It follows the model while
/// it is open.
///
/// Threads: the main thread. Ownership: refers to model and settings, which outlive it. Fails:
/// never.
#pragma once

#include "QuarrydexApp/windows/IndexLimits.h"

#include <QWidget>

#include <string>
#include <vector>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace quarrydex {

class HintLabel;
class Model;
class Prefs;

class AccessWindow : public QWidget {
    Q_OBJECT

  public:
    AccessWindow(Model& model, Prefs& prefs, QWidget* parent = nullptr);

  protected:
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void build();
    void retranslate();
    void follow();
    void showLimits();
    void addUnreadable(const IndexLimit& limit);
    void addUnwatched();
    void addHint(const std::string& text);
    void addCommand(const std::string& command, const std::string& purpose);
    void scanAgain(const std::string& root);
    void dismiss();

    Model& model_;
    Prefs& prefs_;
    std::vector<IndexLimit> limits_;
    QLabel* heading_;
    HintLabel* promise_;
    QWidget* body_ = nullptr; ///< made anew when the limits change
    QVBoxLayout* frame_;      ///< around the body
    QVBoxLayout* column_;     ///< in the body
    QPushButton* dismiss_;
};

} // namespace quarrydex
