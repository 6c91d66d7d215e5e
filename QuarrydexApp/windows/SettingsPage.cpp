#include "QuarrydexApp/windows/SettingsPage.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PageParts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quarrydex {

SettingsPage::SettingsPage(const Context& context, std::string_view symbol)
    : context_(context), symbol_(symbol), column_(new QVBoxLayout(this)),
      heading_(newHeading(this)) {
    column_->setContentsMargins(gap() * 3 / 2, gap() * 3 / 2, gap() * 3 / 2, gap() * 3 / 2);
    column_->setSpacing(gap() * 2 / 3);
    column_->addWidget(heading_);
    column_->addSpacing(gap() / 3);
}

void SettingsPage::prepare() {
    heading_->setText(qt(title()));
    setAccessibleName(heading_->text());
    retranslate();
    for (const Shown& shown : shown_)
        shown.show();
    refresh({});
}

void SettingsPage::settingChanged(std::string_view key) {
    for (const Shown& shown : shown_)
        if (shown.key == key)
            shown.show();
    refresh(key);
}

void SettingsPage::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        prepare();
}

/// The wheel scrolls the page; it changes a choice only where the user is.
bool SettingsPage::eventFilter(QObject* watched, QEvent* event) {
    const auto* choice = qobject_cast<QComboBox*>(watched);
    if (choice != nullptr && event->type() == QEvent::Wheel && !choice->hasFocus()) {
        event->ignore();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

QCheckBox*
SettingsPage::addSwitch(std::string_view key, Get get, Set set, std::function<void()> after) {
    auto* box = new QCheckBox(this);
    column_->addWidget(box);
    shown_.push_back({key, [this, box, get] { box->setChecked((prefs().*get)()); }});
    connect(box, &QCheckBox::clicked, this, [this, set, after = std::move(after)](bool on) {
        (prefs().*set)(on);
        if (after)
            after();
    });
    return box;
}

QComboBox* SettingsPage::newChoice(std::string_view key,
                                   std::function<QString()> get,
                                   std::function<void(const QString&)> set) {
    auto* box = new QComboBox(this);
    box->setFocusPolicy(Qt::StrongFocus);
    box->installEventFilter(this);
    shown_.push_back({key, [box, get = std::move(get)] {
                          box->setCurrentIndex(std::max(0, box->findData(get())));
                      }});
    connect(box, &QComboBox::activated, this,
            [box, set = std::move(set)](int index) { set(box->itemData(index).toString()); });
    return box;
}

HintLabel* SettingsPage::addHint() {
    auto* hint = new HintLabel(this);
    column_->addWidget(hint);
    return hint;
}

} // namespace quarrydex
