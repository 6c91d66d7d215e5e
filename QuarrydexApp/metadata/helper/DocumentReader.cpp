#include "QuarrydexApp/metadata/helper/Readers.h"

#include <QPainter>
#include <QPdfDocument>

namespace quarrydex {

void readDocument(QIODevice& device, const Wanted& wanted, FilePreview& to) {
    QPdfDocument document;
    document.load(&device);
    if (document.status() != QPdfDocument::Status::Ready || document.pageCount() < 1)
        return;
    to.meta.pages = static_cast<std::uint32_t>(document.pageCount());
    if (!wanted.picture || wanted.limit.isEmpty())
        return;
    const QSizeF page = document.pagePointSize(0);
    if (!(page.width() > 0 && page.height() > 0))
        return;
    const QSize size =
        page.scaled(wanted.limit, Qt::KeepAspectRatio).toSize().boundedTo(wanted.limit);
    const QImage ink = document.render(0, size.expandedTo({1, 1}));
    if (ink.isNull())
        return;
    // A page is as transparent as it is empty.
    QImage paper(ink.size(), QImage::Format_ARGB32_Premultiplied);
    paper.fill(Qt::white);
    QPainter(&paper).drawImage(0, 0, ink);
    to.picture = paper;
}

} // namespace quarrydex
