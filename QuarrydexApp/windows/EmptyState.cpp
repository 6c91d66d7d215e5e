#include "QuarrydexApp/windows/EmptyState.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/windows/PageParts.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quarrydex {

EmptyState::EmptyState(QWidget* parent)
    : QWidget(parent), symbol_(newCentredLabel(this)), title_(newCentredLabel(this)),
      text_(newCentredLabel(this)), choicesTitle_(newCentredLabel(this)),
      choices_(new QVBoxLayout) {
    const int unit = fontMetrics().height();
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.4);
    title_->setFont(large);
    choices_->setSpacing(unit / 3);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(unit * 2, unit, unit * 2, unit);
    layout->setSpacing(unit / 2);
    layout->addStretch(2);
    layout->addWidget(symbol_);
    layout->addWidget(title_);
    layout->addWidget(text_);
    layout->addSpacing(unit / 2);
    layout->addWidget(choicesTitle_);
    layout->addLayout(choices_);
    layout->addStretch(3);
}

void EmptyState::show(Content content) {
    content_ = std::move(content);
    title_->setText(content_.title);
    text_->setText(content_.text);
    text_->setVisible(!content_.text.isEmpty());
    choicesTitle_->setText(content_.choicesTitle);
    choicesTitle_->setVisible(!content_.choicesTitle.isEmpty());
    paintSymbol();
    removeChoices();
    for (const Choice& choice : content_.choices)
        addChoice(choice);
    setAccessibleName(spoken());
}

QString EmptyState::spoken() const {
    QStringList parts = {content_.title, content_.text, content_.choicesTitle};
    parts.removeAll(QString());
    return parts.join(QStringLiteral("\n"));
}

void EmptyState::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        paintSymbol();
    QWidget::changeEvent(event);
}

void EmptyState::paintSymbol() {
    const QColor grey = tints().secondaryText;
    symbol_->setPixmap(
        symbolPixmap(content_.symbol, fontMetrics().height() * 3, grey, devicePixelRatioF()));
    for (QLabel* label : {text_, choicesTitle_}) {
        QPalette palette = label->palette();
        if (palette.color(QPalette::WindowText) == grey)
            continue;
        palette.setColor(QPalette::WindowText, grey);
        label->setPalette(palette);
    }
}

void EmptyState::removeChoices() {
    while (QLayoutItem* item = choices_->takeAt(0)) {
        // Not at once: the click that led here may come from this very button.
        item->widget()->hide();
        item->widget()->deleteLater();
        delete item;
    }
}

void EmptyState::addChoice(const Choice& choice) {
    auto* button = new QPushButton(choice.text, this);
    button->setAutoDefault(true);
    if (!choice.isMain) {
        button->setFlat(true);
        button->setCursor(Qt::PointingHandCursor);
        QPalette palette = button->palette();
        palette.setColor(QPalette::ButtonText, palette.color(QPalette::Link));
        button->setPalette(palette);
    }
    connect(button, &QPushButton::clicked, this, choice.chosen);
    choices_->addWidget(button, 0, Qt::AlignHCenter);
}

} // namespace quarrydex
