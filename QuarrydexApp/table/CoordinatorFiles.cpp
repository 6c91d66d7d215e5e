/// The two operations on the selection that change files.
#include "QuarrydexActions/File.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/table/Coordinator.h"
#include "QuarrydexApp/table/RenameEditor.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <iterator>

namespace quarrydex {

namespace {

/// Rows are marked as gone in groups, so that a long move does not flood the main thread.
constexpr std::size_t rowsPerNotice = 64;

std::string joinedLines(const std::vector<std::string>& lines) {
    std::string out;
    for (const std::string& line : lines)
        out += (out.empty() ? "" : "\n") + line;
    return out;
}

} // namespace

// --- Trash --------------------------------------------------------------------------------------

std::vector<std::size_t> ResultsTable::Coordinator::selectedRows() const {
    std::vector<std::size_t> out;
    for (const RowSelection::Range& range : table_.selected().ranges())
        for (std::size_t at = range.begin; at < range.end; ++at)
            if (!table_.values().isGone(table_.shown().row(at)))
                out.push_back(at);
    return out;
}

void ResultsTable::Coordinator::trashSelected() {
    if (refuseOffline())
        return;
    TrashBatch batch{.results = table_.shown(), .rows = selectedRows(), .failures = {}};
    if (batch.rows.empty())
        return;
    if (!services_.prefs.confirmTrash()) {
        performTrash(std::move(batch));
        return;
    }
    const Alerts::Question question = trashQuestion(batch);
    alerts_.ask(question, [this, alive = std::weak_ptr(alive_),
                           batch = std::move(batch)](Alerts::Answer answer) {
        if (alive.expired() || !answer.isYes)
            return;
        if (answer.suppresses)
            services_.prefs.setConfirmTrash(false);
        performTrash(batch);
    });
}

Alerts::Question ResultsTable::Coordinator::trashQuestion(const TrashBatch& batch) const {
    const auto isFolder = [&](std::size_t at) { return batch.results.row(at).isFolder(); };
    const std::string name = item(batch.results, batch.rows.front()).name;
    return {.message = batch.rows.size() == 1
                           ? quarrydex::tr("Move “{name}” to the Trash?", {{"name", name}})
                           : trn("Move {count} item to the Trash?",
                                 "Move {count} items to the Trash?", batch.rows.size()),
            .text = std::ranges::any_of(batch.rows, isFolder)
                        ? quarrydex::tr(
                              "Folders are moved to the Trash with everything inside them. You can "
                              "restore them from there.")
                        : quarrydex::tr("You can restore them from the Trash."),
            .yes = quarrydex::tr("Move to Trash"),
            .no = quarrydex::tr("Cancel"),
            .suppression = quarrydex::tr("Don’t ask again")};
}

void ResultsTable::Coordinator::performTrash(TrashBatch batch) {
    const auto running = batches_.insert(batches_.end(), std::move(batch));
    ++tasksUnderWay_;
    queue_.post([this, running] {
        moveAll(*running);
        mainQueue_.post([this, running] { trashed(running); });
    });
}

/// On the queue.
void ResultsTable::Coordinator::moveAll(TrashBatch& batch) {
    std::vector<std::size_t> moved;
    const auto notice = [&] {
        mainQueue_.post([this, &batch, rows = std::move(moved)] {
            for (const std::size_t row : rows)
                table_.markGone(batch.results, row);
        });
        moved.clear();
    };
    for (const std::size_t at : batch.rows) {
        if (isEnding_.load())
            return;
        const Row row = batch.results.rows()[at];
        const VolumeIndex& index = *batch.results.indexes()[rowVolume(row)];
        try {
            static_cast<void>(File::moveToTrash(index.path(rowEntry(row)), services_.actions));
            moved.push_back(at);
        } catch (const File::Failure& failure) {
            ++batch.failed;
            if (batch.failures.size() < mostMessages)
                batch.failures.push_back(failure.errorDescription());
        }
        if (moved.size() >= rowsPerNotice)
            notice();
    }
    notice();
}

void ResultsTable::Coordinator::trashed(std::list<TrashBatch>::iterator running) {
    --tasksUnderWay_;
    const TrashBatch batch = std::move(*running);
    batches_.erase(running);
    if (batch.failed == 0)
        return;
    std::string messages = joinedLines(batch.failures);
    if (batch.failed > batch.failures.size())
        messages += "\n" + trn("… and {count} more", "… and {count} more",
                               batch.failed - batch.failures.size());
    alerts_.tell(batch.failed == 1
                     ? quarrydex::tr("Moving to the Trash did not work")
                     : trn("Moving to the Trash: {count} item not processed",
                           "Moving to the Trash: {count} items not processed", batch.failed),
                 messages);
}

// --- Rename -------------------------------------------------------------------------------------

void ResultsTable::Coordinator::renameSelected() {
    if (renameSession_ || table_.selected().count() != 1 || refuseOffline())
        return;
    const std::size_t at = table_.selected().first();
    const ShownRow row = table_.shown().row(at);
    if (table_.values().isGone(row) || table_.values().pending().newName(row.key()) != nullptr)
        return; // the catalogue does not know yet what it is called
    table_.setHeld(true);
    table_.scrollToRow(at);
    const std::string name(row.index->name(row.entry));
    auto* editor = new RenameEditor(table_.viewport(), name, row.isFolder());
    editor->setAccessibleName(qt(quarrydex::tr("New name")));
    renameSession_ = {table_.shown(), at, row.index->path(row.entry), name, editor};
    placeEditor();
    editor->show();
    editor->setFocus();
    QObject::connect(editor, &RenameEditor::ended, editor,
                     [this](bool commit) { endRename(commit); });
}

void ResultsTable::Coordinator::placeEditor() {
    if (!renameSession_)
        return;
    const QRect cell = table_.cellRect(renameSession_->row, Column::name);
    constexpr int frame = 4; // of the field, around its text
    renameSession_->editor->setGeometry(cell.adjusted(RowPainter::nameIndent - frame, 1, 0, -1));
}

void ResultsTable::Coordinator::endRename(bool commit) {
    if (!renameSession_)
        return;
    const RenameSession session = *std::exchange(renameSession_, std::nullopt);
    const bool hadFocus = session.editor->hasFocus();
    const bool isUnchanged = session.editor->isUnchanged();
    const auto newName = session.editor->newName();
    session.editor->hide();
    session.editor->deleteLater();
    if (hadFocus)
        table_.setFocus();
    if (commit && !isUnchanged) {
        if (newName)
            performRename(session, *newName);
        else
            alerts_.tell(
                quarrydex::tr("Renaming did not work"),
                quarrydex::tr("This name holds bytes that cannot be shown; other signs stand in "
                              "their place. Type a name without these signs."));
    }
    table_.setHeld(false);
}

void ResultsTable::Coordinator::performRename(const RenameSession& session,
                                              const std::string& newName) {
    const ShownRow row = session.results.row(session.row);
    // What holds volumes stays on this thread.
    const auto kept = batches_.insert(batches_.end(), TrashBatch{session.results, {}, {}});
    const EntryId firstNewEntry = row.index->count();
    ++tasksUnderWay_;
    queue_.post([this, kept, row, firstNewEntry, path = session.path, newName] {
        std::string result;
        std::string failure;
        try {
            result = File::changeName(path, newName, services_.actions);
        } catch (const File::Failure& error) {
            failure = error.errorDescription();
        }
        mainQueue_.post([this, kept, row, firstNewEntry, path, result, failure] {
            --tasksUnderWay_;
            if (!failure.empty())
                alerts_.tell(quarrydex::tr("Renaming did not work"), failure);
            else if (result != path)
                table_.markRenamed(row, result.substr(result.rfind('/') + 1), firstNewEntry);
            batches_.erase(kept);
        });
    });
}

} // namespace quarrydex
