#include "QuarrydexApp/table/Alerts.h"

#include "QuarrydexApp/look/Text.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

#include <utility>

namespace quarrydex {

namespace {

QMessageBox* boxOf(QWidget* parent, const std::string& message, const std::string& text) {
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText); // names of files may look like markup
    box->setText(qt(message));
    box->setInformativeText(qt(text));
    return box;
}

} // namespace

void MessageBoxes::tell(const std::string& message, const std::string& text) {
    QMessageBox* box = boxOf(parent_, message, text);
    box->setIcon(QMessageBox::Warning);
    box->open();
}

void MessageBoxes::ask(const Question& question, std::function<void(Answer)> answer) {
    QMessageBox* box = boxOf(parent_, question.message, question.text);
    box->setIcon(QMessageBox::Question);
    QPushButton* yes = box->addButton(qt(question.yes), QMessageBox::AcceptRole);
    box->setEscapeButton(box->addButton(qt(question.no), QMessageBox::RejectRole));
    box->setDefaultButton(yes);
    QCheckBox* suppression = nullptr;
    if (!question.suppression.empty()) {
        suppression = new QCheckBox(qt(question.suppression), box);
        box->setCheckBox(suppression);
    }
    QObject::connect(box, &QMessageBox::finished, box,
                     [box, yes, suppression, answer = std::move(answer)] {
                         answer({.isYes = box->clickedButton() == yes,
                                 .suppresses = suppression != nullptr && suppression->isChecked()});
                     });
    box->open();
}

} // namespace quarrydex
