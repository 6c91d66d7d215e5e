#include "QuarrydexApp/look/Appearance.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>

namespace quarrydex {

namespace {

struct Colours {
    QRgb window, base, alternate, text, disabled, placeholder, button, light, mid, dark, shadow,
        highlight, link;
    Tints tints;
};

const Colours& colours(bool dark) {
    static const Colours ofLight = {.window = 0xFFF5F6F8,
                                    .base = 0xFFFFFFFF,
                                    .alternate = 0xFFF0F2F5,
                                    .text = 0xFF1B1E23,
                                    .disabled = 0xFF9AA1AB,
                                    .placeholder = 0xFF6F7782,
                                    .button = 0xFFFDFDFE,
                                    .light = 0xFFFFFFFF,
                                    .mid = 0xFFCDD2D9,
                                    .dark = 0xFFA4ABB5,
                                    .shadow = 0xFF7B828C,
                                    .highlight = 0xFF2563D9,
                                    .link = 0xFF1D55C4,
                                    .tints = {.secondaryText = QColor(0x5A626D),
                                              .match = QColor(0xFFE29A),
                                              .error = QColor(0xB3261E),
                                              .separator = QColor(0xDDE1E7),
                                              .offlineText = QColor(0x8A919B),
                                              .chip = QColor(0xE6E9EE)}};
    static const Colours ofDark = {.window = 0xFF1D1F23,
                                   .base = 0xFF17191C,
                                   .alternate = 0xFF1F2226,
                                   .text = 0xFFE7E9EC,
                                   .disabled = 0xFF6B727C,
                                   .placeholder = 0xFF9098A3,
                                   .button = 0xFF2A2D32,
                                   .light = 0xFF3A3E45,
                                   .mid = 0xFF3A3E45,
                                   .dark = 0xFF101114,
                                   .shadow = 0xFF000000,
                                   .highlight = 0xFF2F6BE0,
                                   .link = 0xFF7FB0FF,
                                   .tints = {.secondaryText = QColor(0x9EA6B1),
                                             .match = QColor(0x6A5410),
                                             .error = QColor(0xFF8A80),
                                             .separator = QColor(0x31353B),
                                             .offlineText = QColor(0x767D87),
                                             .chip = QColor(0x2C3036)}};
    return dark ? ofDark : ofLight;
}

QPalette paletteOf(const Colours& c) {
    QPalette palette;
    const auto set = [&](QPalette::ColorRole role, QRgb rgb) { palette.setColor(role, rgb); };
    set(QPalette::Window, c.window);
    set(QPalette::WindowText, c.text);
    set(QPalette::Base, c.base);
    set(QPalette::AlternateBase, c.alternate);
    set(QPalette::Text, c.text);
    set(QPalette::PlaceholderText, c.placeholder);
    set(QPalette::Button, c.button);
    set(QPalette::ButtonText, c.text);
    set(QPalette::BrightText, 0xFFFFFFFF);
    set(QPalette::ToolTipBase, c.button);
    set(QPalette::ToolTipText, c.text);
    set(QPalette::Light, c.light);
    set(QPalette::Midlight, c.light);
    set(QPalette::Mid, c.mid);
    set(QPalette::Dark, c.dark);
    set(QPalette::Shadow, c.shadow);
    set(QPalette::Highlight, c.highlight);
    set(QPalette::HighlightedText, 0xFFFFFFFF);
    set(QPalette::Link, c.link);
    set(QPalette::LinkVisited, c.link);
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, c.disabled);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, c.mid);
    return palette;
}

bool darkIsInEffect = false;

/// Fusion draws outlines darker than the window: on a dark one they cannot be seen. What can be
/// typed into or switched gets one that can, with a contrast of 3 to the window.
class OutlinedStyle final : public QProxyStyle {
  public:
    OutlinedStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

    void drawPrimitive(PrimitiveElement element,
                       const QStyleOption* option,
                       QPainter* painter,
                       const QWidget* widget) const override {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        if (element == PE_IndicatorCheckBox || element == PE_FrameLineEdit)
            outline(*option, *painter, 2);
        else if (element == PE_IndicatorRadioButton)
            outline(*option, *painter, option->rect.width() / 2.0);
    }

    void drawComplexControl(ComplexControl control,
                            const QStyleOptionComplex* option,
                            QPainter* painter,
                            const QWidget* widget) const override {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        if (control == CC_SpinBox)
            outline(*option, *painter, 2);
    }

  private:
    static void outline(const QStyleOption& option, QPainter& painter, qreal radius) {
        const bool hasFocus = (option.state & State_HasFocus) != 0;
        if (!darkIsInEffect || hasFocus) // the focus has a frame of its own
            return;
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QColor((option.state & State_Enabled) != 0 ? 0x737A85 : 0x4A4F57));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        painter.restore();
    }
};

} // namespace

void applyAppearance(std::string_view setting, bool systemIsDark) {
    darkIsInEffect = setting == "dark" || (setting != "light" && systemIsDark);
    QApplication::setStyle(new OutlinedStyle); // which the application owns
    QApplication::setPalette(paletteOf(colours(darkIsInEffect)));
}

bool isDark() {
    return darkIsInEffect;
}

const Tints& tints() {
    return colours(darkIsInEffect).tints;
}

} // namespace quarrydex
