#include "QuarrydexApp/windows/FileTypesPage.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PatternField.h"
#include "QuarrydexCore/text/tr.h"

#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

namespace quarrydex {

namespace {

std::string verdictOn(const ExtPatterns& patterns) {
    if (patterns.exts.empty())
        return tr("All files are indexed.");
    return trn("{count} file type is indexed; folders always. Applies to all drives and triggers a "
               "new scan.",
               "{count} file types are indexed; folders always. Applies to all drives and triggers "
               "a new scan.",
               patterns.exts.size());
}

} // namespace

FileTypesPage::FileTypesPage(const Context& context) : SettingsPage(context, "doc.text") {
    label_ = new QLabel(this);
    field_ = new PatternField(verdictOn, this);
    label_->setBuddy(field_->line());
    column()->addWidget(label_);
    hint_ = addHint();
    column()->addWidget(field_);
    column()->addStretch();
    connect(field_, &PatternField::entered, this,
            [this](const QString& patterns) { store(patterns.toStdString()); });
}

std::string FileTypesPage::title() const {
    return quarrydex::tr("File types");
}

void FileTypesPage::store(const std::string& patterns) {
    prefs().setIncludeOnly(patterns);
    model().applySources();
}

void FileTypesPage::refresh(std::string_view key) {
    if (key.empty() || key == Prefs::Key::includeOnly)
        field_->setPatterns(prefs().includeOnly());
}

/// A window that is closed does not always take the focus from the line first.
void FileTypesPage::hideEvent(QHideEvent* event) {
    field_->commit();
    SettingsPage::hideEvent(event);
}

void FileTypesPage::retranslate() {
    label_->setText(qt(quarrydex::tr("Index only certain file types (advanced)")));
    hint_->setText(qt(quarrydex::tr("empty = all files, e.g. *.mp3;*.flac;*.wav")));
    field_->line()->setAccessibleName(label_->text());
    field_->judge();
}

} // namespace quarrydex
