#include "QuarrydexApp/table/RenameEditor.h"

#include "QuarrydexApp/look/Text.h"

#include <QKeyEvent>

namespace quarrydex {

namespace {

/// Characters of the name up to its extension: all of a folder's, or where there is none.
int stemLength(const QString& name, bool isFolder) {
    const auto dot = name.lastIndexOf(QLatin1Char('.'));
    return static_cast<int>(isFolder || dot <= 0 ? name.size() : dot);
}

} // namespace

RenameEditor::RenameEditor(QWidget* parent, std::string_view name, bool isFolder)
    : QLineEdit(parent), before_(shown(name)) {
    const QString plain = qt(name);
    const bool isUtf8 =
        plain.toUtf8() == QByteArray(name.data(), static_cast<qsizetype>(name.size()));
    for (qsizetype i = 0; i < before_.size(); ++i)
        if (before_[i] != plain[i] || (!isUtf8 && before_[i] == QChar::ReplacementCharacter))
            standIns_ += before_[i];
    setText(before_);
    setSelection(0, stemLength(before_, isFolder));
}

std::optional<std::string> RenameEditor::newName() const {
    for (const QChar c : text())
        if (standIns_.contains(c))
            return std::nullopt;
    return text().toStdString();
}

void RenameEditor::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        Q_EMIT ended(true);
    else if (event->key() == Qt::Key_Escape)
        Q_EMIT ended(false);
    else
        QLineEdit::keyPressEvent(event);
}

bool RenameEditor::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) { // the window's keys wait meanwhile
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void RenameEditor::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    if (event->reason() != Qt::ActiveWindowFocusReason && event->reason() != Qt::PopupFocusReason)
        Q_EMIT ended(true);
}

} // namespace quarrydex
