/// The members of one group side by side: a column for each, a line for each thing known of any.
/// Threads: the main thread. Ownership: refers to the DupModel, which outlives it. Fails: never.
#pragma once

#include "QuarrydexApp/windows/DupModel.h"

#include <QAbstractTableModel>
#include <QIcon>

#include <cstddef>
#include <optional>
#include <vector>

namespace quarrydex {

class DupDetailModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    explicit DupDetailModel(const DupModel& dupes, QObject* parent = nullptr);

    /// Shows that group, or nothing; anew where it is shown already.
    void show(std::optional<std::size_t> group);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant
    headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    struct Line {
        QString label;
        std::vector<QString> values; ///< [member]
        bool isSame{};               ///< all values are
    };

    template <class Value>
    void add(const std::string& label, const DupGroup& group, const Value& valueOf);
    void addFile(const DupGroup& group);
    void addTags(const DupGroup& group);
    [[nodiscard]] QString memberTitle(std::size_t member) const;

    /// True when the value is another one than that of the kept member.
    [[nodiscard]] bool stands(const Line& line, std::size_t member) const;

    const DupModel& dupes_;
    const QIcon check_;
    std::size_t members_ = 0;
    std::size_t keep_ = 0;
    std::size_t suggested_ = 0;
    std::vector<Line> lines_;
};

} // namespace quarrydex
