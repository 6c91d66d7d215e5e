/// The results: one line a hit, across all drives, in columns.
///
/// The view paints the rows that are visible and asks for nothing else, so that ten million rows
/// show as quickly as ten. What can be done with rows is the Coordinator's.
///
/// Threads: the main thread. Ownership: a widget of its parent; refers to the services, which
/// outlive it. Failure: told in alerts.
#pragma once

#include "QuarrydexApp/table/Columns.h"

#include <QAbstractItemView>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarrydex {

struct ActionsPlatform;
class FileMetaSource;
class FileOpener;
class Model;
class Prefs;

class ResultsTable : public QAbstractItemView {
    Q_OBJECT

  public:
    class Coordinator;

    struct Services {
        Model& model;
        Prefs& prefs;
        FileOpener& opener;
        FileMetaSource& files;
        const ActionsPlatform& actions;
    };

    explicit ResultsTable(const Services& services, QWidget* parent = nullptr);
    ~ResultsTable() override;

    [[nodiscard]] Coordinator& coordinator() { return *coordinator_; }

    /// Shows the columns of a category's set ("" for none); kept per category by Prefs.
    void setCategory(const std::string& id);

    /// These columns in place of every category's set, for this run; unknown ids are left out.
    void overrideColumns(const std::vector<std::string>& ids);

    /// Selects the first row, if there is one, and makes it current.
    void selectFirstRow();

    struct Selection {
        std::size_t rows{};
        std::uint64_t bytes{}; ///< of its files; 0 when there are more than are worth adding up
    };

    [[nodiscard]] Selection selection() const;

  Q_SIGNALS:
    void selectionSummaryChanged();

  private:
    std::unique_ptr<Coordinator> coordinator_;
};

} // namespace quarrydex
