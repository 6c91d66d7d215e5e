#include "QuarrydexApp/windows/Chip.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"

#include <QPainter>
#include <QPainterPath>

namespace quarrydex {

Chip::Chip(const QString& text, std::string symbol, QWidget* parent)
    : QAbstractButton(parent), symbol_(std::move(symbol)) {
    setText(text);
    setCheckable(true);
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
}

void Chip::setDimmed(bool dimmed) {
    dimmed_ = dimmed;
    update();
}

void Chip::setBusy(bool busy) {
    if (busy_ == busy)
        return;
    busy_ = busy;
    updateGeometry();
    update();
}

int Chip::unit() const {
    return fontMetrics().height();
}

QSize Chip::sizeHint() const {
    const int icon = symbol_.empty() ? 0 : unit() * 5 / 4;
    const int dot = busy_ ? unit() * 3 / 4 : 0;
    return {fontMetrics().horizontalAdvance(text()) + icon + dot + unit() * 3 / 2, unit() * 13 / 8};
}

QColor Chip::textColour() const {
    if (isChecked() && !dimmed_)
        return palette().color(QPalette::HighlightedText);
    return dimmed_ ? tints().offlineText : palette().color(QPalette::ButtonText);
}

void Chip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF outline = QRectF(rect()).adjusted(1, 1, -1, -1);
    const qreal radius = outline.height() / 2;
    QColor fill = isChecked() && !dimmed_ ? palette().color(QPalette::Highlight) : tints().chip;
    if (underMouse())
        fill = isDark() ? fill.lighter(118) : fill.darker(106);
    painter.setPen(hasFocus() ? QPen(palette().color(QPalette::WindowText), 1.5) : Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(outline, radius, radius);

    QRect inner = rect().adjusted(unit() * 3 / 4, 0, -unit() * 3 / 4, 0);
    const QColor colour = textColour();
    if (!symbol_.empty()) {
        const QPixmap symbol = symbolPixmap(symbol_, unit(), colour, devicePixelRatioF());
        painter.drawPixmap(inner.left(), (height() - unit()) / 2, symbol);
        inner.setLeft(inner.left() + unit() * 5 / 4);
    }
    if (busy_) {
        const int size = unit() * 2 / 5;
        painter.setPen(Qt::NoPen);
        painter.setBrush(isChecked() ? colour : palette().color(QPalette::Highlight));
        painter.drawEllipse(inner.right() - size, (height() - size) / 2, size, size);
        inner.setRight(inner.right() - unit() * 3 / 4);
    }
    painter.setPen(colour);
    painter.drawText(inner, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextHideMnemonic, text());
}

} // namespace quarrydex
