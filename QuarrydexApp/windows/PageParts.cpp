#include "QuarrydexApp/windows/PageParts.h"

#include "QuarrydexCore/text/tr.h"

#include <QLabel>
#include <QScrollArea>

namespace quarrydex {

namespace {

QLabel* newLabel(QWidget* parent, qreal scale) {
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setBold(true);
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * scale);
    label->setFont(font);
    return label;
}

} // namespace

QLabel* newCentredLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignCenter);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QLabel* newHeading(QWidget* parent) {
    return newLabel(parent, 1.4);
}

QLabel* newGroupLabel(QWidget* parent) {
    return newLabel(parent, 1.0);
}

QScrollArea* newScrollArea(QWidget* content, QWidget* parent) {
    auto* area = new QScrollArea(parent);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->setWidget(content);
    content->setAutoFillBackground(false);
    area->viewport()->setAutoFillBackground(false);
    return area;
}

std::string notUnderstood(const ExtPatterns& patterns) {
    std::string pieces;
    for (const std::string& piece : patterns.rejected)
        pieces += (pieces.empty() ? "" : "; ") + piece;
    return pieces.empty() ? std::string()
                          : tr("Not understood (only *.extension, separated by semicolons): {text}",
                               {{"text", pieces}});
}

} // namespace quarrydex
