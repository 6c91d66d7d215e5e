/// The view of the groups: headings across all columns, members in them.
/// Threads: the main thread. Ownership: as every widget; refers to the model. Fails: never.
#pragma once

#include <QTreeView>

#include <cstddef>
#include <optional>

namespace quarrydex {

class DupTreeModel;

class DupTree : public QTreeView {
    Q_OBJECT

  public:
    explicit DupTree(DupTreeModel& model, QWidget* parent = nullptr);

    struct Place {
        std::size_t group;
        std::optional<std::size_t> member; ///< absent: the heading

        bool operator==(const Place&) const = default;
    };

    /// The row that has the keyboard.
    [[nodiscard]] std::optional<Place> currentPlace() const;
    void setCurrentPlace(Place place);

    /// Nothing: typing does not look through all names.
    void keyboardSearch(const QString&) override {}

  Q_SIGNALS:
    void currentPlaceChanged();

  protected:
    void drawRow(QPainter* painter,
                 const QStyleOptionViewItem& options,
                 const QModelIndex& index) const override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void changeEvent(QEvent* event) override;

  private:
    void setColumnWidths();
    void drawHeading(QPainter& painter,
                     const QStyleOptionViewItem& options,
                     const QModelIndex& index) const;
    void
    drawHeadingText(QPainter& painter, QRect area, const QModelIndex& index, bool isSelected) const;

    DupTreeModel& groups_;
};

} // namespace quarrydex
