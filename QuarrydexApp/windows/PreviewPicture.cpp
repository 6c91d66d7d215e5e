#include "QuarrydexApp/windows/PreviewPicture.h"

#include <QPainter>

#include <cmath>

namespace quarrydex {

PreviewPicture::PreviewPicture(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PreviewPicture::setPicture(const QImage& picture) {
    picture_ = picture;
    update();
}

QRectF PreviewPicture::place() const {
    QSizeF size = QSizeF(picture_.size()) / devicePixelRatioF();
    if (size.width() > width() || size.height() > height())
        size.scale(QSizeF(this->size()), Qt::KeepAspectRatio);
    // On whole pixels of the screen, so that an unscaled picture stays sharp.
    const qreal scale = devicePixelRatioF();
    const auto snapped = [&](qreal at) { return std::floor(at * scale) / scale; };
    return {QPointF(snapped((width() - size.width()) / 2), snapped((height() - size.height()) / 2)),
            size};
}

void PreviewPicture::paintEvent(QPaintEvent*) {
    if (picture_.isNull())
        return;
    QPainter painter(this);
    const QRectF rect = place();
    if (picture_.hasAlphaChannel()) {
        painter.fillRect(rect, palette().base());
        painter.fillRect(rect, QBrush(palette().color(QPalette::Midlight), Qt::Dense6Pattern));
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(rect, picture_);
}

} // namespace quarrydex
