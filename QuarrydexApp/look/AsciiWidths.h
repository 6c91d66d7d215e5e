/// How wide a plain text is, and what of it fits into a cell, without laying it out.
///
/// Most of what a table shows is ASCII, and asking a font for a text's width costs as much as
/// drawing it. The sum of the letters' own widths is right but for kerning, which moves letters
/// together far more often than apart.
///
/// Threads: the main thread. Fails: never.
#pragma once

#include <QFont>
#include <QFontMetricsF>
#include <QString>

#include <array>
#include <optional>

namespace quarrydex {

class AsciiWidths {
  public:
    /// Those of a widget's font. Cheap while it stays the same.
    void use(const QFont& font, const QFontMetricsF& metrics) {
        if (font == font_)
            return;
        font_ = font;
        for (char16_t c = first; c <= last; ++c)
            widths_[c - first] = metrics.horizontalAdvance(QChar(c));
        ellipsis_ = metrics.horizontalAdvance(QChar(ellipsis));
    }

    struct Line {
        QString text;
        qreal width; ///< device-independent pixels
    };

    /// The text, shortened with an ellipsis where it may be wider than `width`, as
    /// QFontMetrics::elidedText does. Absent when it holds anything but printable ASCII.
    [[nodiscard]] std::optional<Line>
    fitted(const QString& text, Qt::TextElideMode mode, qreal width) const;

  private:
    static constexpr char16_t first = u' ';
    static constexpr char16_t last = u'~';
    static constexpr char16_t ellipsis = u'\u2026';

    [[nodiscard]] qreal of(QChar c) const { return widths_[c.unicode() - first]; }

    std::optional<QFont> font_;
    std::array<qreal, last - first + 1> widths_{};
    qreal ellipsis_ = 0;
};

} // namespace quarrydex
