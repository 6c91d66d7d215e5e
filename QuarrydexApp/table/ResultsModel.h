/// The shown results as Qt sees them: one row a hit, one column for each of Column. It copies
/// nothing; a new result is a reset.
///
/// Threads: the main thread. Ownership: refers to the values, which outlive it. Fails: never.
#pragma once

#include "QuarrydexApp/table/CellValues.h"
#include "QuarrydexApp/table/ShownResults.h"

#include <QAbstractTableModel>

#include <utility>

namespace quarrydex {

class ResultsModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    explicit ResultsModel(CellValues& values, QObject* parent = nullptr)
        : QAbstractTableModel(parent), values_(values) {}

    [[nodiscard]] const ShownResults& shown() const { return shown_; }

    /// Returns what was shown before, so that the caller chooses where its memory is given back.
    ShownResults show(ShownResults results) {
        beginResetModel();
        std::swap(shown_, results);
        endResetModel();
        return results;
    }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(shown_.count());
    }

    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(ColumnDef::count);
    }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;

  private:
    CellValues& values_;
    ShownResults shown_;
};

} // namespace quarrydex
