/// The groups of a duplicate run as a tree: a heading for each group, its members below.
///
/// Nothing is kept per row: an index says where its group and member are, so that a hundred
/// thousand groups cost no more than their values, asked for when they are seen.
///
/// Threads: the main thread. Ownership: refers to the DupModel, which outlives it. Fails: never.
#pragma once

#include "QuarrydexApp/windows/DupModel.h"

#include <QAbstractItemModel>
#include <QIcon>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace quarrydex {

class DupTreeModel : public QAbstractItemModel {
    Q_OBJECT

  public:
    enum class Column : std::uint8_t {
        name,
        artist,
        title,
        duration,
        quality,
        size,
        folder,
        drive
    };

    static constexpr int columns = 8;

    /// What a heading says after its title, in column 0.
    static constexpr int factsRole = Qt::UserRole;

    explicit DupTreeModel(const DupModel& dupes, QObject* parent = nullptr);

    /// After a run has begun or ended, or the language changed.
    void reset();

    /// The heading of the group, or the row of a member.
    [[nodiscard]] QModelIndex indexOf(std::size_t group,
                                      std::optional<std::size_t> member = {}) const;

    /// REQUIRES: a valid index.
    [[nodiscard]] static std::size_t groupOf(const QModelIndex& index);

    /// Absent for a heading.
    [[nodiscard]] static std::optional<std::size_t> memberOf(const QModelIndex& index);

    // --- QAbstractItemModel ---------------------------------------------------------------------

    [[nodiscard]] QModelIndex
    index(int row, int column, const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& child) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant
    headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    void groupsChanged(const std::vector<std::size_t>& groups);
    [[nodiscard]] QVariant headingData(const DupGroup& group, Column column, int role) const;
    [[nodiscard]] QVariant
    memberData(const DupGroup& group, std::size_t member, Column column, int role) const;
    [[nodiscard]] QString text(const DupMember& member, Column column) const;

    const DupModel& dupes_;
    const QIcon check_;
};

} // namespace quarrydex
