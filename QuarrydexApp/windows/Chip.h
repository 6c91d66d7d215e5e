/// A small round-ended button that is on or off: a category above the results, or a drive.
/// Threads: the main thread. Ownership: as every widget. Fails: never.
#pragma once

#include <QAbstractButton>

#include <string>

namespace quarrydex {

class Chip : public QAbstractButton {
    Q_OBJECT

  public:
    Chip(const QString& text, std::string symbol, QWidget* parent = nullptr);

    /// Drawn grey: the drive is not connected.
    void setDimmed(bool dimmed);

    /// A dot says that the drive is being scanned or caught up with.
    void setBusy(bool busy);

    [[nodiscard]] QSize sizeHint() const override;

    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    [[nodiscard]] int unit() const; ///< the font's height, which all measures follow
    [[nodiscard]] QColor textColour() const;

    std::string symbol_;
    bool dimmed_ = false;
    bool busy_ = false;
};

} // namespace quarrydex
