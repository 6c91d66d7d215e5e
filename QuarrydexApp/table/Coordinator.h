/// What can be done with the selected results: open, show, preview, copy, drag, rename, trash.
///
/// The two that change files run on a thread of their own through File (QuarrydexActions), while
/// the user goes on; a row shows what became of it until the catalogue knows. Rows of drives that
/// are not connected are refused, all but copying their paths.
///
/// Threads: the main thread. Ownership: a part of its table; refers to the services. The destructor
/// waits for the file that is being moved and leaves the rest alone. Failure: told in alerts, with
/// the system's or File's reason; nothing is tried again.
#pragma once

#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexApp/table/Alerts.h"
#include "QuarrydexApp/table/ResultsTable.h"
#include "QuarrydexCore/base/SerialQueue.h"

#include <QMenu>
#include <QMimeData>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

class RenameEditor;

class ResultsTable::Coordinator {
  public:
    struct Item {
        std::shared_ptr<VolumeState> volume;
        std::shared_ptr<VolumeIndex> index; ///< that the entry is one of
        EntryId entry{};
        std::string path; ///< raw bytes
        std::string name; ///< for reading, UTF-8
        bool isFolder{};
    };

    static constexpr std::size_t mostOpenedUnasked = 20;
    static constexpr std::size_t mostAtOnce = 1'000; ///< opened, shown, dragged or previewed
    static constexpr std::size_t mostCopied = 100'000;

    Coordinator(ResultsTable& table, const Services& services);
    ~Coordinator();
    Coordinator(const Coordinator&) = delete;
    Coordinator& operator=(const Coordinator&) = delete;

    // --- On the selection -----------------------------------------------------------------------

    /// The first `limit` selected rows that are still there, in their order.
    [[nodiscard]] std::vector<Item> selectedItems(std::size_t limit = mostAtOnce) const;

    /// What a preview shows; empty when a row is not connected.
    [[nodiscard]] std::vector<Item> previewItems() const;

    void openSelected();
    void reveal();

    /// `QuickLook`: asks for the preview to be shown or hidden.
    void quickLook();

    /// Puts the paths on the clipboard, a line each, and as file URLs.
    void copyPath();

    /// Edits the name of the one selected row in place.
    void renameSelected();

    /// `endRename(commit:)`: with `commit`, gives the file the name that was typed.
    void endRename(bool commit);

    [[nodiscard]] bool isRenaming() const { return renameSession_.has_value(); }

    void trashSelected();

    /// Drags the rows of connected drives out of the window, as files.
    void drag(Qt::DropActions actions);

    /// What a drag carries; null when there is nothing, or more than can be carried.
    [[nodiscard]] std::unique_ptr<QMimeData> dragData() const;

    /// `makeContextMenu`, `menuNeedsUpdate`: fills a menu with the operations.
    void menuNeedsUpdate(QMenu& menu);

    /// True while files are being moved or renamed.
    [[nodiscard]] bool isBusy() const { return tasksUnderWay_ > 0; }

  private:
    /// The rename in progress.
    struct RenameSession {
        ShownResults results; ///< what `row` is a row of
        std::size_t row{};
        std::string path;
        std::string name; ///< as it is, raw bytes
        RenameEditor* editor{};
    };

    /// What is being moved to the Trash: rows by place, so that ten million take little memory.
    struct TrashBatch {
        ShownResults results;
        std::vector<std::size_t> rows;
        std::vector<std::string> failures; ///< messages; of the first few
        std::size_t failed{};
    };

    static constexpr std::size_t mostMessages = 8;

    [[nodiscard]] const VolumeState* offlineVolume() const;

    /// Shows the alert when a selected row is not connected.
    [[nodiscard]] bool refuseOffline();
    [[nodiscard]] bool refuseTooMany();
    [[nodiscard]] std::function<void(const std::string&)> failureTeller();
    void open(const std::vector<Item>& items);
    [[nodiscard]] Item item(const ShownResults& results, std::size_t row) const;
    [[nodiscard]] static std::unique_ptr<QMimeData> mimeData(const std::vector<Item>& items,
                                                             std::size_t urlLimit);

    // CoordinatorFiles.cpp: what changes files
    [[nodiscard]] std::vector<std::size_t> selectedRows() const;
    [[nodiscard]] Alerts::Question trashQuestion(const TrashBatch& batch) const;
    void performTrash(TrashBatch batch);
    void moveAll(TrashBatch& batch);
    void trashed(std::list<TrashBatch>::iterator batch);
    void placeEditor();
    void performRename(const RenameSession& session, const std::string& newName);

    ResultsTable& table_;
    const Services services_;
    MessageBoxes messageBoxes_;
    Alerts& alerts_;
    std::optional<RenameSession> renameSession_;
    std::list<TrashBatch> batches_; ///< that the thread works on; let go on the main thread
    int tasksUnderWay_ = 0;
    std::atomic<bool> isEnding_{false};
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); ///< for answers that come late
    QtMainQueue mainQueue_;
    SerialQueue queue_; ///< last: ends before what its tasks use
};

} // namespace quarrydex
