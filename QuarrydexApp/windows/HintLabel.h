/// A quiet text: wrapped, smaller in weight than what it explains, or a complaint.
/// Threads: the main thread. Fails: never.
#pragma once

#include <QLabel>

#include <cstdint>

namespace quarrydex {

class HintLabel : public QLabel {
    Q_OBJECT

  public:
    enum class Tone : std::uint8_t { quiet, error };

    explicit HintLabel(QWidget* parent = nullptr, Tone tone = Tone::quiet);

    void setTone(Tone tone);

    /// Shows the text, or nothing at all when it is empty.
    void say(const QString& text, Tone tone);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void takeColour();

    Tone tone_;
};

} // namespace quarrydex
