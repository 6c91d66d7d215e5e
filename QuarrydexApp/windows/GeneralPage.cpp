#include "QuarrydexApp/windows/GeneralPage.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/Lang.h"
#include "QuarrydexCore/text/tr.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace quarrydex {

GeneralPage::GeneralPage(const Context& context) : SettingsPage(context, "gearshape") {
    addChoices();
    column()->addSpacing(gap() / 2);
    addSwitches();
    if (seams().loginStart != nullptr)
        addLoginSwitch();
    column()->addStretch();
}

std::string GeneralPage::title() const {
    return quarrydex::tr("General");
}

void GeneralPage::addChoices() {
    auto* form = new QFormLayout;
    form->setHorizontalSpacing(gap());
    form->setVerticalSpacing(gap() * 2 / 3);
    form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    const auto addRow = [&](QComboBox* box) {
        auto* label = new QLabel(this);
        label->setBuddy(box);
        form->addRow(label, box);
        return label;
    };

    hotKey_ = newChoice(
        Prefs::Key::hotkeyPreset, [this] { return QString::number(prefs().hotKey().id); },
        [this](const QString& id) { prefs().setHotKey(id.toInt()); });
    for (const HotKeyPreset& preset : HotKeyPreset::all)
        hotKey_->addItem(qt(preset.wordTitle()), QString::number(preset.id));
    hotKeyLabel_ = addRow(hotKey_);
    hotKeyProblem_ = new HintLabel(this, HintLabel::Tone::error);
    hotKeyProblem_->hide();
    form->addRow(nullptr, hotKeyProblem_);

    appearance_ = newChoice(
        Prefs::Key::appearance, [this] { return qt(prefs().appearance()); },
        [this](const QString& value) { prefs().setAppearance(value.toStdString()); });
    for (const char* value : {"system", "light", "dark"})
        appearance_->addItem(QString(), QString::fromLatin1(value));
    appearanceLabel_ = addRow(appearance_);

    language_ = newChoice(
        Prefs::Key::language, [this] { return qt(prefs().language()); },
        [this](const QString& value) { prefs().setLanguage(value.toStdString()); });
    language_->addItem(QString(), qt(Lang::system));
    for (const Lang::Language& language : Lang::supported)
        language_->addItem(qt(language.name), qt(language.code));
    languageLabel_ = addRow(language_);

    kind_ = newChoice(
        Prefs::Key::kindStyle, [this] { return qt(prefs().kindStyle()); },
        [this](const QString& value) { prefs().setKindStyle(value.toStdString()); });
    for (const char* value : {"both", "icons", "words"})
        kind_->addItem(QString(), QString::fromLatin1(value));
    kindLabel_ = addRow(kind_);
    column()->addLayout(form);
}

void GeneralPage::addSwitches() {
    junk_ = addSwitch(Prefs::Key::showJunk, &Prefs::showJunk, &Prefs::setShowJunk, [this] {
        if (model().searchState().showJunk != prefs().showJunk())
            model().setShowJunk(prefs().showJunk());
    });
    trash_ = addSwitch(Prefs::Key::confirmTrash, &Prefs::confirmTrash, &Prefs::setConfirmTrash);
}

void GeneralPage::addLoginSwitch() {
    login_ = new QCheckBox(this);
    column()->addWidget(login_);
    loginProblem_ = addHint();
    loginProblem_->hide();
    connect(login_, &QCheckBox::clicked, this, &GeneralPage::setLoginStart);
}

/// Another program may have changed it since the page was last seen.
void GeneralPage::showEvent(QShowEvent* event) {
    SettingsPage::showEvent(event);
    if (login_ == nullptr)
        return;
    background_.run([this, start = seams().loginStart]() -> Background::Answer {
        return [this, on = start->isOn()] { login_->setChecked(on); };
    });
}

void GeneralPage::setLoginStart(bool on) {
    background_.run([this, start = seams().loginStart, on]() -> Background::Answer {
        const bool isDone = start->set(on);
        return [this, isDone, isOn = start->isOn()] {
            login_->setChecked(isOn);
            loginProblem_->say(isDone ? QString() : qt(quarrydex::tr("This could not be stored.")),
                               HintLabel::Tone::error);
        };
    });
}

void GeneralPage::setHotKeyProblem(const QString& problem) {
    hotKeyProblem_->say(problem, HintLabel::Tone::error);
    hotKey_->setAccessibleDescription(problem);
}

void GeneralPage::retranslate() {
    hotKeyLabel_->setText(qt(quarrydex::tr("&Hot key")));
    appearanceLabel_->setText(qt(quarrydex::tr("&Appearance")));
    appearance_->setItemText(0, qt(quarrydex::tr("As the system")));
    appearance_->setItemText(1, qt(quarrydex::tr("Light")));
    appearance_->setItemText(2, qt(quarrydex::tr("Dark")));
    languageLabel_->setText(qt(quarrydex::tr("&Language")));
    language_->setItemText(0, qt(quarrydex::tr("System language")));
    kindLabel_->setText(qt(quarrydex::tr("&Kind column")));
    kind_->setItemText(0, qt(quarrydex::tr("Symbol and words")));
    kind_->setItemText(1, qt(quarrydex::tr("Symbol only")));
    kind_->setItemText(2, qt(quarrydex::tr("Words only")));
    junk_->setText(qt(quarrydex::tr("&Show hidden and system files")));
    trash_->setText(qt(quarrydex::tr("Ask before moving to the &Trash")));
    if (login_ != nullptr)
        login_->setText(qt(quarrydex::tr("Start {app} when you log &in", {{"app", appName}})));
}

} // namespace quarrydex
