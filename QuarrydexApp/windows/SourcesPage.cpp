#include "QuarrydexApp/windows/SourcesPage.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/SourceEditor.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QCheckBox>
#include <QVBoxLayout>

namespace quarrydex {

SourcesPage::SourcesPage(const Context& context) : SettingsPage(context, "internaldrive") {
    explanation_ = addHint();
    editor_ = new SourceEditor(model(), prefs(), seams(), SourceEditor::Undecided::left, this);
    column()->addWidget(editor_);
    images_ = addSwitch(Prefs::Key::indexDiskImages, &Prefs::indexDiskImages,
                        &Prefs::setIndexDiskImages, [this] { model().applySources(); });
    column()->addStretch();
    connect(editor_, &SourceEditor::changed, this, &SourcesPage::store);
}

std::string SourcesPage::title() const {
    return quarrydex::tr("Drives and folders");
}

void SourcesPage::store(const QString& identity) {
    const std::string id = identity.toStdString();
    const Prefs::Sources chosen = editor_->chosen();
    if (const auto found = chosen.find(id); found != chosen.end())
        prefs().setSource(id, found->second);
    if (!prefs().configured())
        prefs().setConfigured(true);
    model().applySources();
}

void SourcesPage::refresh(std::string_view key) {
    if (key == Prefs::Key::indexDiskImages)
        editor_->reload();
}

void SourcesPage::retranslate() {
    explanation_->setText(qt(quarrydex::tr("{app} only reads file names and metadata and never "
                                           "changes anything.",
                                           {{"app", appName}})));
    images_->setText(qt(quarrydex::tr("&Offer disk images and virtual drives")));
}

} // namespace quarrydex
