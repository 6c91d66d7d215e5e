/// A picture in the middle, as large as it is or as fits, on squares where it is transparent.
/// Threads: the main thread. Fails: never; without a picture nothing is drawn.
#pragma once

#include <QImage>
#include <QWidget>

namespace quarrydex {

class PreviewPicture : public QWidget {
    Q_OBJECT

  public:
    explicit PreviewPicture(QWidget* parent = nullptr);

    void setPicture(const QImage& picture);

    [[nodiscard]] const QImage& picture() const { return picture_; }

    /// Where the picture lies; its pixels are those of the screen unless it had to be shrunk.
    [[nodiscard]] QRectF place() const;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QImage picture_;
};

} // namespace quarrydex
