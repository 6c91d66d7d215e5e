#include "QuarrydexApp/windows/DupDialogs.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexCore/text/tr.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>

#include <utility>

namespace quarrydex {

namespace {

void askPath(QWidget* parent, const QString& suggestedName, DupDialogs::PathChosen chosen) {
    auto* dialog = new QFileDialog(parent, qt(tr("Save list")));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    const QString ending = QFileInfo(suggestedName).suffix();
    dialog->setDefaultSuffix(ending);
    dialog->setNameFilter(QStringLiteral("*.") + ending);
    dialog->selectFile(suggestedName);
    QObject::connect(dialog, &QFileDialog::fileSelected, parent,
                     [chosen = std::move(chosen)](const QString& path) {
                         chosen(QFile::encodeName(path).toStdString());
                     });
    dialog->open();
}

void alert(QWidget* parent, const QString& title, const QString& text) {
    auto* box = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::Ok, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(text);
    box->open();
}

} // namespace

DupDialogs DupDialogs::ofDesktop() {
    return {quarrydex::askPath, quarrydex::alert};
}

} // namespace quarrydex
