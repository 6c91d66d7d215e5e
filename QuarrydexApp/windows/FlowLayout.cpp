#include "QuarrydexApp/windows/FlowLayout.h"

#include <QStyle>
#include <QWidget>

#include <algorithm>

namespace quarrydex {

FlowLayout::~FlowLayout() {
    for (QLayoutItem* item : items_)
        delete item;
}

QLayoutItem* FlowLayout::itemAt(int index) const {
    return index >= 0 && index < count() ? items_[static_cast<std::size_t>(index)] : nullptr;
}

QLayoutItem* FlowLayout::takeAt(int index) {
    QLayoutItem* item = itemAt(index);
    if (item != nullptr)
        items_.erase(items_.begin() + index);
    return item;
}

int FlowLayout::heightForWidth(int width) const {
    return arrange(QRect(0, 0, width, 0), false);
}

QSize FlowLayout::minimumSize() const {
    QSize size;
    for (const QLayoutItem* item : items_)
        size = size.expandedTo(item->minimumSize());
    return size;
}

QSize FlowLayout::sizeHint() const {
    int width = 0;
    int height = 0;
    for (const QLayoutItem* item : items_) {
        if (item->isEmpty())
            continue;
        width += item->sizeHint().width() + (width > 0 ? spacing_ : 0);
        height = std::max(height, item->sizeHint().height());
    }
    return {width, height};
}

void FlowLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    arrange(rect, true);
}

int FlowLayout::arrange(const QRect& rect, bool place) const {
    const Qt::LayoutDirection direction =
        parentWidget() == nullptr ? Qt::LeftToRight : parentWidget()->layoutDirection();
    int x = rect.x();
    int y = rect.y();
    int lineHeight = 0;
    for (QLayoutItem* item : items_) {
        if (item->isEmpty())
            continue;
        const QSize size = item->sizeHint();
        if (x > rect.x() && x + size.width() > rect.x() + rect.width()) {
            x = rect.x();
            y += lineHeight + spacing_;
            lineHeight = 0;
        }
        if (place)
            item->setGeometry(QStyle::visualRect(direction, rect, QRect(QPoint(x, y), size)));
        x += size.width() + spacing_;
        lineHeight = std::max(lineHeight, size.height());
    }
    return y + lineHeight - rect.y();
}

} // namespace quarrydex
