#include "QuarrydexApp/metadata/helper/Readers.h"

#include <QImageReader>

namespace quarrydex {

namespace {

/// Enough for 128 megapixels; more is not decoded, which leaves the sizes.
constexpr int mostMegabytes = 512;

/// As large as fits in the limit, never larger than it is.
QSize shrunk(QSize size, QSize limit) {
    if (size.width() <= limit.width() && size.height() <= limit.height())
        return size;
    return size.scaled(limit, Qt::KeepAspectRatio).expandedTo({1, 1});
}

} // namespace

void readPicture(QIODevice& device, const char* format, const Wanted& wanted, FilePreview& to) {
    QImageReader::setAllocationLimit(mostMegabytes);
    QImageReader reader(&device, format);
    reader.setAutoDetectImageFormat(false);
    reader.setAutoTransform(true);
    const QSize stored = reader.size();
    if (!stored.isValid() || stored.isEmpty())
        return;
    const bool isTurned = (reader.transformation() & QImageIOHandler::TransformationRotate90) != 0;
    const QSize shown = isTurned ? stored.transposed() : stored;
    to.meta.w = static_cast<std::uint32_t>(shown.width());
    to.meta.h = static_cast<std::uint32_t>(shown.height());
    if (!wanted.picture || wanted.limit.isEmpty())
        return;
    const QSize size = shrunk(shown, wanted.limit);
    if (size != shown)
        reader.setScaledSize(isTurned ? size.transposed() : size);
    const QImage picture = reader.read();
    // Not every format can be scaled while it is read.
    to.picture = picture.size() == picture.size().boundedTo(wanted.limit)
                     ? picture
                     : picture.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace quarrydex
