#include "QuarrydexApp/windows/SourceChooser.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PageParts.h"
#include "QuarrydexApp/windows/SourceEditor.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <utility>

namespace quarrydex {

SourceChooser::SourceChooser(Model& model, Prefs& prefs, QWidget* parent, const WindowSeams& seams)
    : QWidget(parent, Qt::Window), prefs_(prefs),
      editor_(new SourceEditor(model, prefs, seams, SourceEditor::Undecided::proposed)) {
    build();
    retranslate();
    resize(fontMetrics().height() * 34, fontMetrics().height() * 36);
}

void SourceChooser::build() {
    const int gap = fontMetrics().height();
    heading_ = newHeading(this);
    explanation_ = new HintLabel(this);
    auto* scroll = newScrollArea(editor_, this);
    confirm_ = new QPushButton(this);
    confirm_->setDefault(true);
    confirm_->setEnabled(!isBusy());
    cancel_ = new QPushButton(this);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel_);
    buttons->addWidget(confirm_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(gap * 3 / 2, gap * 3 / 2, gap * 3 / 2, gap);
    column->setSpacing(gap * 2 / 3);
    column->addWidget(heading_);
    column->addWidget(explanation_);
    column->addWidget(scroll, 1);
    column->addLayout(buttons);

    connect(editor_, &SourceEditor::found, this, [this] { confirm_->setEnabled(true); });
    connect(confirm_, &QPushButton::clicked, this, &SourceChooser::accept);
    connect(cancel_, &QPushButton::clicked, this, &SourceChooser::reject);
}

void SourceChooser::retranslate() {
    setWindowTitle(qt(quarrydex::tr("Drives and folders")));
    heading_->setText(qt(quarrydex::tr("What should {app} find?", {{"app", appName}})));
    explanation_->setText(
        qt(quarrydex::tr("Choose the drives and folders to search. {app} only reads file names and "
                         "metadata and never changes anything.",
                         {{"app", appName}})));
    confirm_->setText(
        qt(prefs_.configured() ? quarrydex::tr("Save") : quarrydex::tr("Start indexing")));
    cancel_->setText(qt(quarrydex::tr("Cancel")));
}

bool SourceChooser::isBusy() const {
    return editor_->isBusy();
}

void SourceChooser::accept() {
    if (isBusy() || std::exchange(isDone_, true))
        return;
    prefs_.setSources(editor_->chosen());
    prefs_.setConfigured(true);
    hide();
    Q_EMIT accepted();
    Q_EMIT finished(true);
}

void SourceChooser::reject() {
    if (std::exchange(isDone_, true))
        return;
    hide();
    Q_EMIT finished(false);
}

void SourceChooser::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void SourceChooser::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    reject();
}

void SourceChooser::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        reject();
    else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        accept();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quarrydex
