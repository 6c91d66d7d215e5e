#include "QuarrydexApp/look/AsciiWidths.h"

#include <algorithm>

namespace quarrydex {

std::optional<AsciiWidths::Line>
AsciiWidths::fitted(const QString& text, Qt::TextElideMode mode, qreal width) const {
    constexpr qreal kerning = 1; ///< by so much the letters may stand wider together
    qreal whole = 0;
    for (const QChar c : text) {
        if (c.unicode() < first || c.unicode() > last)
            return std::nullopt;
        whole += of(c);
    }
    if (whole + kerning <= width)
        return Line{text, whole};
    const qreal room = std::max(width - kerning - ellipsis_, 0.0);
    const qreal frontRoom = mode == Qt::ElideLeft ? 0 : mode == Qt::ElideMiddle ? room / 2 : room;
    qreal used = 0;
    qsizetype front = 0;
    while (used + of(text[front]) <= frontRoom)
        used += of(text[front++]);
    qsizetype back = text.size();
    if (mode != Qt::ElideRight)
        while (used + of(text[back - 1]) <= room)
            used += of(text[--back]);
    return Line{text.left(front) + QChar(ellipsis) + text.mid(back), used + ellipsis_};
}

} // namespace quarrydex
