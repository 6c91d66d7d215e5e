#include "QuarrydexApp/windows/FolderPicker.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexCore/text/tr.h"

#include <QDir>
#include <QFileDialog>

#include <utility>

namespace quarrydex {

namespace {

std::string pathOf(const QString& chosen) {
    if (chosen.contains(QChar::ReplacementCharacter))
        return {};
    return QDir::cleanPath(chosen).toStdString();
}

} // namespace

FolderPicker systemFolderPicker() {
    return [](QWidget* parent, const std::string& start, std::function<void(std::string)> chosen) {
        auto* dialog =
            new QFileDialog(parent, qt(quarrydex::tr("Choose a folder")), qt(start), QString());
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
        QObject::connect(
            dialog, &QFileDialog::fileSelected, parent,
            [chosen = std::move(chosen)](const QString& path) { chosen(pathOf(path)); });
        dialog->open();
    };
}

} // namespace quarrydex
