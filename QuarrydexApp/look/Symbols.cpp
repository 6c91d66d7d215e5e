#include "QuarrydexApp/look/Symbols.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <array>
#include <cmath>
#include <string>

namespace quarrydex {

namespace {

struct Drawing {
    std::string_view name;
    std::string_view body; ///< SVG elements on a square of 24 × 24, stroked, not filled
};

constexpr std::array drawings = {
    Drawing{"music.note", R"(<path d="M9 18V5.5l10-2V16"/><circle cx="6.5" cy="18" r="2.5"/>
        <circle cx="16.5" cy="16" r="2.5"/>)"},
    Drawing{"film", R"(<rect x="3" y="5" width="18" height="14" rx="2"/>
        <path d="M7.5 5v14M16.5 5v14M3 9.7h4.5M3 14.3h4.5M16.5 9.7H21M16.5 14.3H21"/>)"},
    Drawing{"photo", R"(<rect x="3" y="5" width="18" height="14" rx="2"/>
        <circle cx="8.5" cy="10" r="1.6"/><path d="M4 18l5.5-5 3.5 3 3-2.6 4.5 4"/>)"},
    Drawing{"doc.text", R"(<path d="M6 3h8l4.5 4.5V21H6z"/><path d="M14 3v4.5h4.5"/>
        <path d="M9 12h6M9 15.5h6"/>)"},
    Drawing{"doc", R"(<path d="M6 3h8l4.5 4.5V21H6z"/><path d="M14 3v4.5h4.5"/>)"},
    Drawing{"archivebox", R"(<rect x="3" y="4.5" width="18" height="4.5" rx="1"/>
        <path d="M4.5 9v10.5h15V9M10 13h4"/>)"},
    Drawing{"folder", R"(<path d="M3 6.5a1.5 1.5 0 0 1 1.5-1.5h4.6l2.2 2.5h8.2
        A1.5 1.5 0 0 1 21 9v8.5a1.5 1.5 0 0 1-1.5 1.5h-15A1.5 1.5 0 0 1 3 17.5z"/>)"},
    Drawing{"magnifyingglass", R"(<circle cx="10.5" cy="10.5" r="6"/><path d="M15 15l5.5 5.5"/>)"},
    Drawing{"internaldrive", R"(<rect x="3" y="7" width="18" height="10" rx="2"/>
        <path d="M16.5 13.5h1.5M6 13.5h6"/>)"},
    Drawing{"externaldrive", R"(<path d="M5.5 5h13l2.5 8v4.5a1.5 1.5 0 0 1-1.5 1.5h-15
        A1.5 1.5 0 0 1 3 17.5V13z"/><path d="M3 13h18M17 16h1.2"/>)"},
    Drawing{"gearshape", R"(<circle cx="12" cy="12" r="3"/><path d="M12 3v3M12 18v3M3 12h3M18 12h3
        M5.6 5.6l2.2 2.2M16.2 16.2l2.2 2.2M5.6 18.4l2.2-2.2M16.2 7.8l2.2-2.2"/>)"},
    Drawing{"doc.on.doc", R"(<rect x="8" y="3.5" width="12" height="13.5" rx="1.5"/>
        <path d="M8 7H5.5A1.5 1.5 0 0 0 4 8.5V19a1.5 1.5 0 0 0 1.5 1.5h9A1.5 1.5 0 0 0 16 19v-2"/>)"},
    Drawing{"checkmark", R"(<path d="M4.5 12.5l5 5 10-11"/>)"},
    Drawing{"xmark", R"(<path d="M6 6l12 12M18 6L6 18"/>)"},
    Drawing{"plus", R"(<path d="M12 5v14M5 12h14"/>)"},
    Drawing{"minus", R"(<path d="M5 12h14"/>)"},
    Drawing{"chevron.up", R"(<path d="M6 15l6-6 6 6"/>)"},
    Drawing{"chevron.down", R"(<path d="M6 9l6 6 6-6"/>)"},
    Drawing{"exclamationmark.triangle",
            R"(<path d="M12 4L2.8 20h18.4z"/><path d="M12 10v4.5M12 17v.4"/>)"},
    Drawing{"info.circle", R"(<circle cx="12" cy="12" r="9"/><path d="M12 11v5.5M12 7.6v.4"/>)"},
    Drawing{"eye",
            R"(<path d="M2.5 12S6 5.5 12 5.5 21.5 12 21.5 12 18 18.5 12 18.5 2.5 12 2.5 12z"/>
        <circle cx="12" cy="12" r="2.8"/>)"},
    Drawing{"eye.slash",
            R"(<path d="M2.5 12S6 5.5 12 5.5 21.5 12 21.5 12 18 18.5 12 18.5 2.5 12 2.5 12z"/>
        <circle cx="12" cy="12" r="2.8"/><path d="M4 20L20 4"/>)"},
    Drawing{"trash",
            R"(<path d="M4 6.5h16M9.5 6.5V4h5v2.5M6 6.5l1 14h10l1-14M10 10.5v6.5M14 10.5v6.5"/>)"},
    Drawing{"globe", R"(<circle cx="12" cy="12" r="9"/><ellipse cx="12" cy="12" rx="4" ry="9"/>
        <path d="M3 12h18"/>)"},
    Drawing{"keyboard", R"(<rect x="2.5" y="6" width="19" height="12" rx="2"/>
        <path d="M6 9.5h.1M9 9.5h.1M12 9.5h.1M15 9.5h.1M18 9.5h.1M6 12h.1M18 12h.1M8 15h8"/>)"},
    Drawing{"square.grid", R"(<rect x="4" y="4" width="6.5" height="6.5" rx="1"/>
        <rect x="13.5" y="4" width="6.5" height="6.5" rx="1"/>
        <rect x="4" y="13.5" width="6.5" height="6.5" rx="1"/>
        <rect x="13.5" y="13.5" width="6.5" height="6.5" rx="1"/>)"},
    Drawing{"clock", R"(<circle cx="12" cy="12" r="9"/><path d="M12 6.5V12l3.5 2.5"/>)"},
    Drawing{"lock", R"(<rect x="5" y="11" width="14" height="9.5" rx="2"/>
        <path d="M8 11V8a4 4 0 0 1 8 0v3"/>)"},
    Drawing{"tag", R"(<path d="M3.5 4h8l9 9-7.5 7.5-9.5-9z"/><circle cx="8" cy="8.3" r="1.2"/>)"},
};

/// What a name that nobody drew is shown as.
constexpr std::string_view unknown = "doc";

std::string_view bodyOf(std::string_view name) {
    std::string_view fallback;
    for (const Drawing& drawing : drawings) {
        if (drawing.name == name)
            return drawing.body;
        if (drawing.name == unknown)
            fallback = drawing.body;
    }
    return fallback;
}

QByteArray svgOf(std::string_view name, const QColor& colour) {
    QByteArray svg = R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 24 24"><g fill="none"
        stroke-width="1.7" stroke-linecap="round" stroke-linejoin="round" stroke=")";
    svg += colour.name().toLatin1();
    svg += R"(">)";
    const std::string_view body = bodyOf(name);
    svg.append(body.data(), static_cast<qsizetype>(body.size()));
    return svg + "</g></svg>";
}

class SymbolEngine : public QIconEngine {
  public:
    explicit SymbolEngine(std::string_view name) : name_(name) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        QSvgRenderer(svgOf(name_, colour(mode))).render(painter, rect);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        return scaledPixmap(size, mode, QIcon::Off, 1.0);
    }

    /// `size` is in device pixels.
    QPixmap
    scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal /*scale*/) override {
        return symbolPixmap(name_, std::min(size.width(), size.height()), colour(mode), 1.0);
    }

    [[nodiscard]] QIconEngine* clone() const override { return new SymbolEngine(name_); }

  private:
    static QColor colour(QIcon::Mode mode) {
        const QPalette palette = QApplication::palette();
        switch (mode) {
        case QIcon::Disabled:
            return palette.color(QPalette::Disabled, QPalette::ButtonText);
        case QIcon::Selected:
            return palette.color(QPalette::HighlightedText);
        case QIcon::Normal:
        case QIcon::Active:
            break;
        }
        return palette.color(QPalette::ButtonText);
    }

    std::string name_;
};

} // namespace

QIcon symbolIcon(std::string_view name) {
    return QIcon(new SymbolEngine(name));
}

QPixmap symbolPixmap(std::string_view name, int size, const QColor& colour, qreal scale) {
    const int pixels = static_cast<int>(std::lround(size * scale));
    const QString key =
        QStringLiteral("quarrydex-symbol %1 %2 %3")
            .arg(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())), colour.name())
            .arg(pixels);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = QPixmap(pixels, pixels);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        QSvgRenderer(svgOf(name, colour)).render(&painter);
        painter.end();
        QPixmapCache::insert(key, pixmap);
    }
    pixmap.setDevicePixelRatio(scale);
    return pixmap;
}

} // namespace quarrydex
