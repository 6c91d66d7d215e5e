#include "QuarrydexApp/table/ResultsTable.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/table/AccessibleTable.h"
#include "QuarrydexApp/table/Coordinator.h"
#include "QuarrydexApp/table/ResultsModel.h"
#include "QuarrydexApp/table/TableHeader.h"
#include "QuarrydexCore/text/Fold.h"
#include "QuarrydexCore/text/Lang.h"
#include "QuarrydexCore/text/tr.h"

#include <QScrollBar>

#include <algorithm>
#include <chrono>

namespace quarrydex {

namespace {

using namespace std::chrono_literals;

constexpr auto saveDelay = 1s; ///< after the last change of a width or the order

/// Results up to this long are followed at once: a millisecond.
constexpr std::size_t fewRows = 200'000;

/// More rows are not added up each time the selection changes.
constexpr std::size_t mostAdded = 100'000;

constexpr auto renamedLifetime = 10s;

} // namespace

ResultsTable::ResultsTable(const Services& services, QWidget* parent)
    : QAbstractItemView(parent), services_(services),
      values_(services.files, [this] { viewport()->update(); }),
      model_(new ResultsModel(values_, this)), header_(new TableHeader(this)) {
    installAccessibleTables();
    setModel(model_);
    setAccessibleName(qt(quarrydex::tr("Results")));
    setFrameShape(QFrame::NoFrame);
    setSelectionMode(NoSelection); // of Qt's selection model
    setEditTriggers(NoEditTriggers);
    setAutoScroll(false);
    setAttribute(Qt::WA_InputMethodEnabled, false);
    viewport()->setMouseTracking(false);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollMode(ScrollPerPixel);
    coordinator_ = std::make_unique<Coordinator>(*this, services_);

    saveTimer_.setSingleShot(true);
    connect(&saveTimer_, &QTimer::timeout, this, &ResultsTable::saveState);
    lookTimer_.setSingleShot(true);
    connect(&lookTimer_, &QTimer::timeout, this, &ResultsTable::look);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        lookSoon();
        Q_EMIT rowsMoved();
    });
    measureRows();
    connectHeader();
    connectModel();
    langListener_ = Lang::shared().addListener([this] { retitle(); });
    resultsArrived();
}

ResultsTable::~ResultsTable() {
    Lang::shared().removeListener(langListener_);
    if (saveTimer_.isActive())
        saveState();
    setModel(nullptr); // before the values that it reads are gone
}

void ResultsTable::connectHeader() {
    header_->restore(services_.prefs.tableState());
    showColumns();
    connect(header_, &QHeaderView::sectionClicked, this,
            [this](int section) { sortBy(static_cast<Column>(section)); });
    connect(header_, &TableHeader::toggleColumn, this, &ResultsTable::toggleColumn);
    connect(header_, &TableHeader::fitColumn, this, [this](Column column) { fit(column); });
    connect(header_, &TableHeader::fitAll, this, [this] { fit(); });
    // `tableViewColumnDidResize`
    const auto changed = [this] {
        updateScrollBars();
        viewport()->update();
        saveTimer_.start(saveDelay);
        Q_EMIT rowsMoved();
    };
    connect(header_, &QHeaderView::sectionResized, this, changed);
    connect(header_, &QHeaderView::sectionMoved, this, changed);
}

void ResultsTable::connectModel() {
    Model& model = services_.model;
    const TableState state = services_.prefs.tableState();
    const SortKey key = sortKeyFromRaw(state.sortKey).value_or(SortKey::name);
    if (key != model.searchState().sortKey || state.sortDesc != model.searchState().sortDesc)
        model.setSort(key, state.sortDesc);
    connect(&model, &Model::resultsChanged, this, &ResultsTable::resultsArrived);
    connect(&model, &Model::volumesChanged, this, [this] {
        viewport()->update();
        lookSoon();
    });
    values_.setKindStyle(kindStyleOf(services_.prefs.kindStyle()));
    prefsWatch_ = services_.prefs.observe([this](std::string_view changed) {
        if (changed == Prefs::Key::columnSets)
            showColumns();
        if (changed == Prefs::Key::kindStyle) {
            values_.setKindStyle(kindStyleOf(services_.prefs.kindStyle()));
            viewport()->update();
        }
    });
}

// --- Results ------------------------------------------------------------------------------------

const ShownResults& ResultsTable::shown() const {
    return model_->shown();
}

Places ResultsTable::places() const {
    return {.selected = selected_, .current = currentRow(), .anchor = anchor_, .top = topRow()};
}

void ResultsTable::resultsArrived() {
    const SearchState& state = services_.model.searchState();
    header_->showSort(state.sortKey, state.sortDesc);
    const auto& next = services_.model.results();
    if (next == shown().set() || (waiting_ && waiting_->set() == next))
        return;
    const bool isReplacing = !next->resetScroll && shown().count() > 0;
    if (isReplacing && !next->complete)
        return; // the head of a list that is there already: its rest would be lost meanwhile
    if (!isReplacing) {
        follower_.cancel();
        waiting_.reset();
        coordinator_->endRename(false);
        pendingSelect_.reset();
        values_.resetMeta();
        setOffset(0);
        present(ShownResults(next), {});
        return;
    }
    waiting_.emplace(next);
    followWaiting();
}

void ResultsTable::followWaiting() {
    if (!waiting_ || follower_.isBusy() || isHeld_)
        return;
    ShownResults next = *std::exchange(waiting_, std::nullopt);
    const Places before = places();
    const RowsOf from(shown());
    const RowsOf to(next);
    if (before == Places() && offset() == 0)
        present(std::move(next), {});
    else if (const auto after = followNear(from, to, before))
        present(std::move(next), *after);
    else if (from.rows.size() + to.rows.size() <= fewRows)
        present(std::move(next), follow(from, to, before));
    else
        follower_.start({shown(), std::move(next), before}, [this](Follower::Step& step) {
            // What the user did meanwhile was done to the rows on the screen: once more, then.
            if (!isHeld_ && step.before == places())
                present(std::move(step.to), step.after);
            else if (!waiting_)
                waiting_ = std::move(step.to);
            followWaiting();
        });
}

void ResultsTable::present(ShownResults results, const Places& places) {
    const std::int64_t part = offset() % rowHeight_;
    const bool hadSelection = !selected_.empty();
    follower_.dispose(model_->show(std::move(results)));
    values_.pending().tidy(shown());
    foldedTerms_.clear();
    for (const std::string& term : shown().set()->terms)
        foldedTerms_.push_back(fold(term));
    selected_ = places.selected;
    anchor_ = places.anchor;
    pressed_.reset();
    updateScrollBars();
    setOffset(static_cast<std::int64_t>(places.top) * rowHeight_ + part);
    setCurrentRow(places.current);
    selectRenamed();
    viewport()->update();
    lookSoon();
    Q_EMIT rowsMoved();
    if (hadSelection || !selected_.empty())
        Q_EMIT selectionSummaryChanged();
}

void ResultsTable::setHeld(bool held) {
    isHeld_ = held;
    followWaiting();
}

void ResultsTable::markGone(const ShownResults& results, std::size_t row) {
    values_.pending().markGone(results.row(row).key());
    if (results.set() == shown().set() && selected_.contains(row)) {
        RowSelection rest = selected_;
        rest.remove({row, row + 1});
        selectionChangedTo(std::move(rest));
    }
    viewport()->update();
}

void ResultsTable::markRenamed(const ShownRow& row,
                               const std::string& newName,
                               EntryId firstNewEntry) {
    values_.pending().markRenamed(row.key(), newName);
    pendingSelect_ = {row.key(), firstNewEntry, row.index->parent(row.entry).value_or(noParent),
                      newName, QDeadlineTimer(renamedLifetime)};
    viewport()->update();
}

void ResultsTable::selectRenamed() {
    if (!pendingSelect_ || !shown().holds(pendingSelect_->old.index) ||
        pendingSelect_->end.hasExpired()) {
        pendingSelect_.reset();
        return;
    }
    const VolumeIndex& index = *pendingSelect_->old.index;
    const EntryId count = index.count();
    EntryId entry = pendingSelect_->firstEntry;
    while (entry < count && (index.parent(entry) != pendingSelect_->parent ||
                             index.name(entry) != pendingSelect_->name))
        ++entry;
    if (entry == count)
        return;
    for (std::uint32_t v = 0; v < shown().indexes().size(); ++v) {
        if (shown().indexes()[v].get() != &index)
            continue;
        const auto rows = shown().rows();
        const auto found = std::ranges::find(rows, makeRow(v, entry));
        if (found == rows.end())
            return;
        if (selected_.empty()) // what was selected is the file that has another name now
            selectRow(static_cast<std::size_t>(found - rows.begin()));
        pendingSelect_.reset();
        return;
    }
}

ResultsTable::Selection ResultsTable::selection() const {
    Selection out{.rows = selected_.count()};
    if (out.rows > mostAdded)
        return out;
    for (const RowSelection::Range& range : selected_.ranges())
        for (std::size_t at = range.begin; at < range.end; ++at)
            if (const ShownRow row = shown().row(at); row.isRegularFile())
                out.bytes += row.index->size(row.entry);
    return out;
}

// --- Columns ------------------------------------------------------------------------------------

void ResultsTable::setCategory(const std::string& id) {
    category_ = id;
    showColumns();
}

void ResultsTable::overrideColumns(const std::vector<std::string>& ids) {
    overriddenColumns_.clear();
    for (const std::string& id : ids)
        if (ColumnDef::byID(id))
            overriddenColumns_.push_back(id);
    showColumns();
}

std::vector<std::string> ResultsTable::columnIds() const {
    return overriddenColumns_.empty() ? services_.prefs.visibleColumns(category_)
                                      : overriddenColumns_;
}

void ResultsTable::toggleColumn(Column column) {
    const std::string id(ColumnDef::of(column).id);
    if (column == Column::name)
        return;
    const std::vector<std::string> now = columnIds();
    const bool wasVisible = std::ranges::find(now, id) != now.end();
    std::vector<std::string> ids;
    for (const std::string& each : header_->order())
        if (each == id ? !wasVisible : std::ranges::find(now, each) != now.end())
            ids.push_back(each);
    if (!overriddenColumns_.empty())
        overrideColumns(ids);
    else
        services_.prefs.setVisibleColumns(ids, category_); // comes back as a notice
}

void ResultsTable::showColumns() {
    header_->showOnly(columnIds());
    updateScrollBars();
    viewport()->update();
    lookSoon();
}

int ResultsTable::prefWidth(Column column) {
    int width = header_->titleWidth(column);
    const RowSelection::Range rows = visibleRows();
    const int around =
        RowPainter::margin + (column == Column::name ? RowPainter::nameIndent : RowPainter::margin);
    for (std::size_t at = rows.begin; at < rows.end; ++at)
        width =
            std::max(width, fontMetrics().horizontalAdvance(values_.text(shown().row(at), column)) +
                                around + 1);
    return width;
}

void ResultsTable::fit(Column column) {
    header_->resizeSection(static_cast<int>(column), prefWidth(column));
}

void ResultsTable::fit() {
    for (const Column column : header_->visibleColumns())
        fit(column);
}

void ResultsTable::sortBy(Column column) {
    const SearchState& state = services_.model.searchState();
    if (const auto key = ColumnDef::of(column).sort) {
        services_.model.setSort(*key, *key == state.sortKey && !state.sortDesc);
        saveTimer_.start(saveDelay);
    }
    header_->showSort(state.sortKey, state.sortDesc); // the click has moved the sign already
}

void ResultsTable::saveState() {
    const TableState before = services_.prefs.tableState();
    TableState state = before;
    header_->store(state);
    state.sortKey = rawValue(services_.model.searchState().sortKey);
    state.sortDesc = services_.model.searchState().sortDesc;
    if (state != before)
        services_.prefs.setTableState(state);
}

void ResultsTable::retitle() {
    values_.resetTexts();
    header_->retitle();
    setAccessibleName(qt(quarrydex::tr("Results")));
    viewport()->update();
}

} // namespace quarrydex
