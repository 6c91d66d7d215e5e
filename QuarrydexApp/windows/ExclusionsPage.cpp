#include "QuarrydexApp/windows/ExclusionsPage.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/windows/FolderList.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexCore/text/tr.h"

#include <QVBoxLayout>

namespace quarrydex {

ExclusionsPage::ExclusionsPage(const Context& context) : SettingsPage(context, "eye.slash") {
    explanation_ = addHint();
    folders_ = new FolderList(
        seams().pickFolder, seams().platform.folders.home(),
        [](const std::string&) { return std::nullopt; }, this);
    column()->addWidget(folders_);
    column()->addStretch();
    connect(folders_, &FolderList::changed, this, [this] {
        prefs().setExcludedPaths(folders_->folders());
        model().applySources();
    });
}

std::string ExclusionsPage::title() const {
    return quarrydex::tr("Excluded folders");
}

void ExclusionsPage::refresh(std::string_view key) {
    if (key.empty() || key == Prefs::Key::excludedPaths)
        folders_->setFolders(prefs().excludedPaths());
}

void ExclusionsPage::retranslate() {
    explanation_->setText(qt(quarrydex::tr("These folders and everything in them are never "
                                           "indexed. A change scans the drives again.")));
    folders_->setListName(qt(title()));
}

} // namespace quarrydex
