#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/table/Coordinator.h"
#include "QuarrydexApp/windows/QuickLook.h"
#include "QuarrydexApp/windows/SearchPanel.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStackedWidget>

#include <utility>

namespace quarrydex {

// --- Keys ---------------------------------------------------------------------------------------

bool SearchPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == field_ && event->type() == QEvent::KeyPress &&
        forwardToTable(static_cast<QKeyEvent&>(*event)))
        return true;
    return QWidget::eventFilter(watched, event);
}

bool SearchPanel::forwardToTable(QKeyEvent& event) {
    const bool isReturn = event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
    switch (event.key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_F2:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        break;
    default:
        return false;
    }
    if (views_->currentWidget() != table_)
        return true;
    if (!isReturn)
        table_->setFocus(Qt::OtherFocusReason);
    else if (table_->selection().rows == 0)
        table_->selectFirstRow();
    QCoreApplication::sendEvent(table_, &event);
    return true;
}

void SearchPanel::typeInField(const QString& text) {
    field_->setFocus(Qt::OtherFocusReason);
    field_->end(false);
    field_->insert(text);
}

void SearchPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Backspace && !field_->hasFocus()) {
        field_->setFocus(Qt::OtherFocusReason);
        field_->end(false);
        field_->backspace();
        return;
    }
    if (event->key() != Qt::Key_Escape) {
        QWidget::keyPressEvent(event);
        return;
    }
    if (field_->text().isEmpty())
        Q_EMIT hideRequested();
    else
        field_->clear();
    focusSearch();
}

void SearchPanel::closeEvent(QCloseEvent* event) {
    event->ignore(); // whether the program goes on without a window is the delegate's to say
    Q_EMIT hideRequested();
}

void SearchPanel::hideEvent(QHideEvent* event) {
    if (quickLook_ != nullptr)
        quickLook_->close();
    QWidget::hideEvent(event);
}

// --- Preview ------------------------------------------------------------------------------------

void SearchPanel::toggleQuickLook() {
    if (quickLook_ != nullptr && quickLook_->isVisible()) {
        quickLook_->close();
        return;
    }
    if (quickLook_ == nullptr) {
        quickLook_ = std::make_unique<QuickLook>(services_.files, services_.prefs.store());
        connect(quickLook_.get(), &QuickLook::stepped, this, &SearchPanel::moveByPreview);
        connect(quickLook_.get(), &QuickLook::currentChanged, this, &SearchPanel::followPreview);
    }
    showPreview();
}

void SearchPanel::showPreview() {
    std::vector<QuickLook::File> files;
    std::size_t current = 0;
    previewed_.clear();
    const auto row = table_->currentRow();
    for (ResultsTable::Coordinator::Item& item : table_->coordinator().previewItems()) {
        const VolumeIndex& index = *item.index;
        previewed_.push_back({&index, item.entry});
        if (row && *row < table_->shown().count() &&
            table_->shown().row(*row).key() == previewed_.back())
            current = files.size();
        files.push_back({.path = std::move(item.path),
                         .name = std::move(item.name),
                         .isFolder = item.isFolder,
                         .audio = index.audio().meta(item.entry),
                         .size = index.size(item.entry),
                         .mtime = index.mtime(item.entry)});
    }
    quickLook_->show(std::move(files), current);
}

/// The preview shows what is selected, whatever comes to be so.
void SearchPanel::followSelection() {
    if (quickLook_ != nullptr && quickLook_->isVisible() && table_->selection().rows > 0)
        showPreview();
}

/// With one file selected the arrow keys of the preview go through the results.
void SearchPanel::moveByPreview(int by) {
    const auto row = table_->currentRow();
    if (!row || table_->selection().rows != 1)
        return;
    if (by < 0 ? *row > 0 : *row + 1 < table_->shown().count())
        table_->selectRow(by < 0 ? *row - 1 : *row + 1);
}

/// With several files selected the current row is that of the file that is shown.
void SearchPanel::followPreview(std::size_t file) {
    // Rows may have moved, but those of a preview are the first that are selected.
    std::size_t left = ResultsTable::Coordinator::mostAtOnce;
    for (const RowSelection::Range& range : table_->selected().ranges())
        for (std::size_t at = range.begin; at < range.end && left > 0; ++at, --left)
            if (table_->shown().row(at).key() == previewed_[file]) {
                table_->goToRow(at);
                return;
            }
}

} // namespace quarrydex
