/// Widgets side by side, in as many lines as their width needs.
/// Threads: the main thread. Ownership: as every layout, of its widget; owns its items.
#pragma once

#include <QLayout>

#include <vector>

namespace quarrydex {

class FlowLayout : public QLayout {
  public:
    explicit FlowLayout(int spacing) : spacing_(spacing) { setContentsMargins(0, 0, 0, 0); }

    ~FlowLayout() override;

    void addItem(QLayoutItem* item) override { items_.push_back(item); }

    [[nodiscard]] int count() const override { return static_cast<int>(items_.size()); }

    [[nodiscard]] QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;

    [[nodiscard]] Qt::Orientations expandingDirections() const override { return {}; }

    [[nodiscard]] bool hasHeightForWidth() const override { return true; }

    [[nodiscard]] int heightForWidth(int width) const override;
    [[nodiscard]] QSize minimumSize() const override;
    [[nodiscard]] QSize sizeHint() const override;
    void setGeometry(const QRect& rect) override;

  private:
    /// The height that the items take; they are put there if `place`.
    int arrange(const QRect& rect, bool place) const;

    std::vector<QLayoutItem*> items_;
    int spacing_;
};

} // namespace quarrydex
