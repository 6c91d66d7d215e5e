/// The field in which a name is edited in its row: Return commits and Escape drops. Leaving the
/// field for another part of the window commits, leaving the window keeps it.
///
/// Threads: the main thread. Ownership: a widget of its parent. Fails: never.
#pragma once

#include <QLineEdit>

#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

class RenameEditor : public QLineEdit {
    Q_OBJECT

  public:
    RenameEditor(QWidget* parent, std::string_view name, bool isFolder);

    /// The name as typed, in UTF-8: absent when it cannot be told which bytes are meant, because
    /// signs that stand for others are left in it.
    [[nodiscard]] std::optional<std::string> newName() const;

    /// The user has not changed anything.
    [[nodiscard]] bool isUnchanged() const { return text() == before_; }

  Q_SIGNALS:
    void ended(bool commit);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool event(QEvent* event) override;

  private:
    QString before_;
    QString standIns_; ///< signs in `before_` that stand for bytes that cannot be shown
};

} // namespace quarrydex
