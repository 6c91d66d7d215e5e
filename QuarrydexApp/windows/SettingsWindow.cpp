#include "QuarrydexApp/windows/SettingsWindow.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/CategoriesPage.h"
#include "QuarrydexApp/windows/ExclusionsPage.h"
#include "QuarrydexApp/windows/FileTypesPage.h"
#include "QuarrydexApp/windows/GeneralPage.h"
#include "QuarrydexApp/windows/OfflinePage.h"
#include "QuarrydexApp/windows/PageParts.h"
#include "QuarrydexApp/windows/SourcesPage.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QScrollArea>
#include <QStackedWidget>

#include <utility>

namespace quarrydex {

SettingsWindow::SettingsWindow(Model& model, Prefs& prefs, QWidget* parent, WindowSeams seams)
    : QWidget(parent, Qt::Window), prefs_(prefs), seams_(std::move(seams)) {
    build();
    const SettingsPage::Context context{model, prefs_, seams_};
    general_ = new GeneralPage(context);
    addPage(general_);
    addPage(new SourcesPage(context));
    addPage(new ExclusionsPage(context));
    addPage(new FileTypesPage(context));
    addPage(new CategoriesPage(context));
    addPage(new OfflinePage(context));
    retranslate();
    showPage(Page::general);
    resize(fontMetrics().height() * 46, fontMetrics().height() * 34);
    prefsWatch_ = prefs_.observe([this](std::string_view key) {
        for (SettingsPage* page : pages_)
            page->settingChanged(key);
    });
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::build() {
    const int gap = fontMetrics().height();
    sections_ = new QListWidget(this);
    sections_->setFrameShape(QFrame::NoFrame);
    sections_->setIconSize({gap * 4 / 3, gap * 4 / 3});
    sections_->setSpacing(gap / 6);
    sections_->setFixedWidth(gap * 13);
    sections_->setTextElideMode(Qt::ElideNone);
    sections_->setWordWrap(true);
    stack_ = new QStackedWidget(this);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins({});
    row->setSpacing(0);
    row->addWidget(sections_);
    row->addWidget(stack_, 1);
    connect(sections_, &QListWidget::currentRowChanged, stack_, &QStackedWidget::setCurrentIndex);
}

void SettingsWindow::addPage(SettingsPage* page) {
    pages_.push_back(page);
    stack_->addWidget(newScrollArea(page, stack_));
    new QListWidgetItem(symbolIcon(page->symbol()), {}, sections_);
    page->prepare();
}

void SettingsWindow::retranslate() {
    setWindowTitle(qt(quarrydex::tr("{app} Settings", {{"app", appName}})));
    sections_->setAccessibleName(qt(quarrydex::tr("Sections")));
    for (std::size_t i = 0; i < pages_.size(); ++i)
        sections_->item(static_cast<int>(i))->setText(qt(pages_[i]->title()));
}

void SettingsWindow::showPage(Page page) {
    sections_->setCurrentRow(static_cast<int>(page));
}

void SettingsWindow::setHotKeyProblem(const QString& problem) {
    general_->setHotKeyProblem(problem);
}

void SettingsWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void SettingsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape || event->matches(QKeySequence::Close))
        close();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quarrydex
