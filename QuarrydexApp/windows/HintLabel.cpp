#include "QuarrydexApp/windows/HintLabel.h"

#include "QuarrydexApp/look/Appearance.h"

#include <QEvent>

namespace quarrydex {

HintLabel::HintLabel(QWidget* parent, Tone tone) : QLabel(parent), tone_(tone) {
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    takeColour();
}

void HintLabel::setTone(Tone tone) {
    tone_ = tone;
    takeColour();
}

void HintLabel::say(const QString& text, Tone tone) {
    setTone(tone);
    setText(text);
    setVisible(!text.isEmpty());
}

void HintLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        takeColour();
}

void HintLabel::takeColour() {
    const QColor colour = tone_ == Tone::quiet ? tints().secondaryText : tints().error;
    if (palette().color(QPalette::WindowText) == colour)
        return; // setting it tells of a change of the palette
    QPalette own = palette();
    own.setColor(QPalette::WindowText, colour);
    setPalette(own);
}

} // namespace quarrydex
