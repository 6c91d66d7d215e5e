#include "QuarrydexApp/windows/AccessWindow.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PageParts.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>

namespace quarrydex {

AccessWindow::AccessWindow(Model& model, Prefs& prefs, QWidget* parent)
    : QWidget(parent, Qt::Window), model_(model), prefs_(prefs) {
    build();
    retranslate();
    resize(fontMetrics().height() * 36, fontMetrics().height() * 26);
    connect(&model_, &Model::volumesChanged, this, &AccessWindow::follow);
}

void AccessWindow::build() {
    const int gap = fontMetrics().height();
    heading_ = newHeading(this);
    promise_ = new HintLabel(this);
    auto* content = new QWidget;
    frame_ = new QVBoxLayout(content);
    frame_->setContentsMargins({});
    frame_->addStretch();
    dismiss_ = new QPushButton(this);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(dismiss_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(gap * 3 / 2, gap * 3 / 2, gap * 3 / 2, gap);
    column->setSpacing(gap * 2 / 3);
    column->addWidget(heading_);
    column->addWidget(promise_);
    column->addWidget(newScrollArea(content, this), 1);
    column->addLayout(buttons);
    connect(dismiss_, &QPushButton::clicked, this, &AccessWindow::dismiss);
}

void AccessWindow::retranslate() {
    const QString title = qt(quarrydex::tr("{app} needs access to all files", {{"app", appName}}));
    setWindowTitle(title);
    heading_->setText(title);
    promise_->setText(qt(quarrydex::tr("{app} only reads file names and metadata and never changes "
                                       "anything.",
                                       {{"app", appName}})));
    dismiss_->setText(qt(quarrydex::tr("&Dismiss")));
    limits_ = indexLimits(model_);
    showLimits();
}

void AccessWindow::follow() {
    std::vector<IndexLimit> now = indexLimits(model_);
    if (now == limits_)
        return;
    limits_ = std::move(now);
    showLimits();
}

void AccessWindow::showLimits() {
    if (body_ != nullptr) {
        body_->hide();
        body_->deleteLater(); // a button in it may be what was pressed
    }
    body_ = new QWidget;
    column_ = new QVBoxLayout(body_);
    column_->setContentsMargins({});
    column_->setSpacing(fontMetrics().height() / 2);
    frame_->insertWidget(0, body_);
    for (const IndexLimit& limit : limits_)
        if (limit.unreadable > 0)
            addUnreadable(limit);
    if (!watchCommand(limits_).empty())
        addUnwatched();
    if (limits_.empty())
        addHint(quarrydex::tr("Nothing limits the index: every folder was read, and every change "
                              "is noticed."));
}

void AccessWindow::addUnreadable(const IndexLimit& limit) {
    auto* name = newGroupLabel(body_);
    name->setText(shown(limit.name));
    column_->addWidget(name);
    addHint(quarrydex::trn("{count} folder could not be read; what is in it is not found.",
                           "{count} folders could not be read; what is in them is not found.",
                           limit.unreadable));
    addHint(quarrydex::tr("Such folders belong to the system or to other users, who can give you "
                          "the right to read them. This command lists them:"));
    addCommand(listCommand(limit), quarrydex::tr("Command that lists the folders"));
    auto* again = new QPushButton(qt(quarrydex::tr("Scan again")), body_);
    again->setEnabled(!limit.isScanning);
    again->setAccessibleDescription(name->text());
    auto* row = new QHBoxLayout;
    row->addWidget(again);
    row->addStretch();
    column_->addLayout(row);
    column_->addSpacing(fontMetrics().height() / 2);
    connect(again, &QPushButton::clicked, this, [this, root = limit.root] { scanAgain(root); });
}

void AccessWindow::addUnwatched() {
    auto* name = newGroupLabel(body_);
    name->setText(qt(quarrydex::tr("Changes that show late")));
    column_->addWidget(name);
    for (const IndexLimit& limit : limits_)
        if (limit.unwatched > 0)
            addHint(limit.watchNotice);
    addHint(quarrydex::tr("This command raises it, for now and for every start of the system:"));
    addCommand(watchCommand(limits_), quarrydex::tr("Command that raises the limit"));
}

void AccessWindow::addHint(const std::string& text) {
    auto* hint = new HintLabel(body_);
    hint->setText(qt(text));
    column_->addWidget(hint);
}

/// A line to be run in a terminal, with a button that copies it.
void AccessWindow::addCommand(const std::string& command, const std::string& purpose) {
    auto* line = new QLineEdit(qt(command), body_);
    line->setReadOnly(true);
    line->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    line->setCursorPosition(0);
    line->setAccessibleName(qt(purpose));
    auto* copy = new QPushButton(qt(quarrydex::tr("Copy")), body_);
    copy->setAccessibleDescription(qt(purpose));
    auto* row = new QHBoxLayout;
    row->addWidget(line, 1);
    row->addWidget(copy);
    column_->addLayout(row);
    connect(copy, &QPushButton::clicked, this, [line, copy] {
        QGuiApplication::clipboard()->setText(line->text());
        copy->setText(qt(quarrydex::tr("Copied")));
    });
}

void AccessWindow::scanAgain(const std::string& root) {
    const auto& volumes = model_.volumes();
    const auto found =
        std::ranges::find_if(volumes, [&](const auto& volume) { return volume->root == root; });
    if (found != volumes.end())
        model_.rescan(std::shared_ptr(*found));
}

void AccessWindow::dismiss() {
    prefs_.setOnboardingDismissed(true);
    close();
}

void AccessWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void AccessWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quarrydex
