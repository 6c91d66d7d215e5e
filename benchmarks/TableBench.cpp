/// The window over a large catalogue: how soon a frame shows what happened, and what the view needs
/// in memory. Held against a frame of 16 ms where a frame is the promise, else against the table
/// that Qt brings along, over as many rows.
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/table/TableHeader.h"
#include "QuarrydexApp/windows/SearchPanel.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/FrameClock.h"
#include "benchmarks/support/Random.h"
#include "benchmarks/support/SyntheticCatalog.h"
#include "benchmarks/support/TableServices.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include <malloc.h>

namespace quarrydex::bench {

namespace {

using namespace std::chrono_literals;

constexpr double frameMs = 16;
constexpr double keystrokeMs = 40 + frameMs; ///< the search's first screen, and a frame
constexpr double mostBytes = 4 << 20;        ///< a few MB, whatever the number of rows
constexpr std::size_t frames = 500;
constexpr std::size_t updates = 40;
constexpr QSize viewSize(1000, 600);

/// With every column that is read from the files themselves; all of them fit into the view.
const std::vector<std::string> columns = {"name",  "dims", "pages", "duration", "bitrate", "rate",
                                          "atime", "size", "date",  "kind",     "drive",   "path"};

const char* const words[] = {"report", "config", "module", "python", "images",
                             "stream", "button", "zigzag", "kernel", "0x7fff"};
constexpr int typingRounds = 5;

/// What frames took from what they show.
struct Times {
    std::vector<double> wall; ///< milliseconds
    std::vector<double> cpu;  ///< of the main thread alone

    void add(const Moment& from, const Moment& to) {
        wall.push_back(to.wallMsSince(from));
        cpu.push_back(to.cpuMsSince(from));
    }

    void add(const FrameClock::Longest& longest) {
        wall.push_back(longest.wallMs);
        cpu.push_back(longest.cpuMs);
    }
};

/// The longest event of each of some rounds.
void addLongest(Report& report, const std::string& step, const Times& times) {
    report.row({.step = step + ", longest event, slowest round",
                .ours = quantile(times.wall, 1),
                .anchor = frameMs,
                .anchorName = "limit",
                .goal = 1});
    report.row({.step = "  work of the main thread in it", .ours = quantile(times.cpu, 1)});
}

void addRows(Report& report, const std::string& step, const Times& times, double limit = frameMs) {
    if (times.wall.empty()) {
        report.skip(step, "too few entries");
        return;
    }
    report.row({.step = step + ", p50", .ours = quantile(times.wall, 0.5)});
    report.row({.step = step + ", p99",
                .ours = quantile(times.wall, 0.99),
                .anchor = limit,
                .anchorName = "limit",
                .goal = 1});
    report.row({.step = "  work of the main thread in it, p99", .ours = quantile(times.cpu, 0.99)});
}

/// Memory in use, in bytes, that was asked for from the allocator.
double allocated() {
    const struct mallinfo2 info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

// --- What ours is held against ------------------------------------------------------------------

/// As many rows, all alike.
class PlainModel final : public QAbstractTableModel {
  public:
    explicit PlainModel(std::size_t rows) : rows_(static_cast<int>(rows)) {}

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : rows_;
    }

    [[nodiscard]] int columnCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(columns.size());
    }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        return role == Qt::DisplayRole ? QVariant(index.column() == 0 ? name_ : value_)
                                       : QVariant();
    }

    void reset() {
        beginResetModel();
        endResetModel();
    }

  private:
    int rows_;
    const QString name_ = QStringLiteral("a_file_name_of_19.txt");
    const QString value_ = QStringLiteral("12,345");
};

/// Medians; of frames the work of the main thread, on which neighbours weigh less.
struct Peer {
    double publishMs{};
    double scrollMs{};
    double bytes{};
};

Peer measurePeer(FrameClock& clock, std::size_t rows, int rowHeight) {
    PlainModel model(rows);
    const double before = allocated();
    QTableView view;
    view.verticalHeader()->hide();
    view.verticalHeader()->setDefaultSectionSize(rowHeight);
    view.horizontalHeader()->setDefaultSectionSize(viewSize.width() /
                                                   static_cast<int>(columns.size()));
    view.setModel(&model);
    view.resize(viewSize);
    (void)clock.frameAfter([&] { view.show(); });
    Times publish;
    Times scroll;
    for (int round = 0; round < 5; ++round)
        publish.add({}, clock.frameAfter([&] { model.reset(); }));
    (void)clock.frameAfter([&] { view.selectAll(); });
    Random random(1);
    QScrollBar& bar = *view.verticalScrollBar();
    for (std::size_t i = 0; i < frames / 5; ++i)
        scroll.add({}, clock.frameAfter([&] {
            bar.setValue(static_cast<int>(random.below(static_cast<std::size_t>(bar.maximum()))));
        }));
    return {quantile(publish.cpu, 0.5), quantile(scroll.cpu, 0.5), allocated() - before};
}

// --- The table ----------------------------------------------------------------------------------

/// Notes for each result when it was published and when it stood in the window.
class Publications {
  public:
    /// To be made before whatever shows the results: it is told of them first.
    Publications(FrameClock& clock, Model& model) : model_(model) {
        QObject::connect(&model, &Model::resultsChanged, &context_, [this] {
            published_ = Moment::now();
            waits_ = true;
        });
        clock.onFrame([this](const Moment& frame) {
            if (!waits_ || !isShown_())
                return;
            waits_ = false;
            Times& times = model_.results()->complete ? whole : firstScreen;
            times.add(published_, frame);
            if (model_.results()->generation != lastShown_)
                typed.add(begun_, frame);
            lastShown_ = model_.results()->generation;
        });
    }

    /// Whether the newest result is in the window, which may be later.
    void setShown(std::function<bool()> isShown) { isShown_ = std::move(isShown); }

    /// Something is asked for now.
    void begin() { begun_ = Moment::now(); }

    /// The whole answer to the newest search was painted.
    [[nodiscard]] bool isDone() const {
        const ResultSet& results = *model_.results();
        return results.generation == model_.generation() && results.complete && !waits_;
    }

    Times firstScreen; ///< from its publication
    Times whole;
    Times typed; ///< from begin() to the first frame with rows of the answer

  private:
    Model& model_;
    QObject context_;
    std::function<bool()> isShown_ = [] { return true; };
    Moment begun_;
    Moment published_;
    bool waits_ = false;
    std::uint64_t lastShown_ = 0;
};

/// A table of all rows.
class Desk {
  public:
    Desk(FrameClock& clock, Model& model) : publications(clock, model), clock_(clock) {
        table = std::make_unique<ResultsTable>(services.on(model));
        publications.setShown([this, &model] { return table->shown().set() == model.results(); });
        table->overrideColumns(columns);
        TableHeader& header = table->header();
        const int width = viewSize.width() / static_cast<int>(columns.size() + 2);
        for (const Column column : header.visibleColumns())
            header.resizeSection(static_cast<int>(column),
                                 column == Column::name ? 2 * width : width);
        table->resize(viewSize);
        (void)clock.frameAfter([this] { table->show(); });
    }

    [[nodiscard]] Moment frameAfter(const std::function<void()>& f) const {
        return clock_.frameAfter(f);
    }

    [[nodiscard]] Moment scrollTo(double part) const {
        QScrollBar& bar = *table->verticalScrollBar();
        return clock_.frameAfter([&] { bar.setValue(static_cast<int>(part * bar.maximum())); });
    }

    void select(std::size_t begin, std::size_t end) const {
        RowSelection rows;
        rows.add({begin, end});
        (void)clock_.frameAfter([&] { table->setSelected(rows); });
    }

    TableServices services;
    Publications publications;
    std::unique_ptr<ResultsTable> table;

  private:
    FrameClock& clock_;
};

void measureScrolling(Report& report, FrameClock& clock, Desk& desk, const Peer& peer) {
    Times selectAll;
    for (int round = 0; round < 50; ++round) {
        desk.select(0, 1);
        selectAll.add({}, desk.frameAfter([&] { desk.table->selectAll(); }));
    }
    addRows(report, "select all → painted", selectAll);

    Random random(2);
    Times scroll;
    for (std::size_t i = 0; i < frames; ++i)
        scroll.add({}, desk.scrollTo(random.fraction()));
    addRows(report, "scrolled to anywhere → painted, all selected", scroll);
    report.row({.step = "  its p50 against Qt's table",
                .ours = quantile(scroll.cpu, 0.5),
                .anchor = peer.scrollMs,
                .anchorName = "QTableView, as many rows",
                .goal = 1});

    // Where scrolling rests, the values of the files come in.
    (void)clock.takeLongest();
    Times longest;
    for (int i = 0; i < 50; ++i) {
        const std::size_t before = desk.services.files.answered();
        (void)desk.scrollTo(random.fraction());
        const PromptMeta& files = desk.services.files;
        clock.waitUntil([&] { return files.answered() > before && files.waiting() == 0; }, 1s);
        longest.add(clock.takeLongest());
    }
    addLongest(report, "lazy values arrive", longest);
}

void measurePublishing(
    Report& report, FrameClock& clock, Model& model, Desk& desk, const Peer& peer) {
    Publications& publications = desk.publications;
    publications.firstScreen = {};
    publications.whole = {};
    for (std::size_t i = 0; i < frames; ++i) {
        model.runSearch(true);
        clock.waitUntil([&] { return publications.isDone(); });
    }
    addRows(report, "first screen published → painted", publications.firstScreen);
    addRows(report, "all rows published → painted", publications.whole);
    report.row({.step = "  its p50 against Qt's table",
                .ours = quantile(publications.whole.cpu, 0.5),
                .anchor = peer.publishMs,
                .anchorName = "QTableView, as many rows",
                .goal = 1});
}

/// Files go, and the rows that are selected stay selected.
void measureUpdates(
    Report& report, FrameClock& clock, Model& model, Desk& desk, std::size_t selected) {
    VolumeIndex& index = *model.volumes()[0]->index;
    Random random(3);
    const std::size_t middle = desk.table->shown().count() / 2;
    (void)desk.scrollTo(0.5);
    if (selected == 0)
        (void)desk.frameAfter([&] { desk.table->selectAll(); });
    else
        desk.select(middle, middle + selected);
    desk.publications.whole = {};
    (void)clock.takeLongest();
    Times longest;
    for (std::size_t i = 0; i < updates; ++i) {
        index.markDeleted(static_cast<EntryId>(1 + random.below(index.count() - 1)));
        model.runSearch(false);
        clock.waitUntil([&] { return desk.publications.isDone(); });
        longest.add(clock.takeLongest());
    }
    const std::string what = selected == 0 ? "all" : std::to_string(selected);
    addLongest(report, "update under " + what + " selected", longest);
    report.row({.step = "  from its publication until it is painted, p50",
                .ours = quantile(desk.publications.whole.wall, 0.5)});
}

void measureTyping(Report& report, FrameClock& clock, Model& model) {
    TableServices services;
    Publications publications(clock, model);
    SearchPanel panel(services.on(model));
    panel.resize(viewSize);
    (void)clock.frameAfter([&] { panel.show(); });
    clock.waitUntil([&] { return model.results()->complete; });
    publications.typed = {};
    publications.firstScreen = {};
    std::size_t unseen = 0;
    for (int round = 0; round < typingRounds; ++round)
        for (const QString word : words)
            for (qsizetype length = 1; length <= word.size(); ++length) {
                publications.begin();
                panel.setQuery(word.left(length));
                unseen += !clock.waitUntil([&] { return publications.isDone(); }, 2s);
            }
    addRows(report, "keystroke → painted, the whole window", publications.typed, keystrokeMs);
    addRows(report, "  what the window adds to the search", publications.firstScreen);
    if (unseen > 0)
        report.row({.step = "  keystrokes without a frame",
                    .ours = static_cast<double>(unseen),
                    .unit = Unit::count});
    clock.onFrame({});
}

/// What Qt keeps from its first window on is not counted as anyone's.
int warmUp(FrameClock& clock) {
    Model nothing({});
    const Desk desk(clock, nothing);
    clock.onFrame({});
    return desk.table->rowHeight();
}

} // namespace

QDX_BENCH(window) {
    FrameClock clock;
    Model model({});
    model.addVolume("/synthetic", syntheticCatalog(report.entries()));
    report.progress("building the name order");
    model.prepareSort(SortKey::name);
    clock.waitUntil([&] { return !model.sorting(); });
    model.setBrowseAll(true);
    const auto isAnswered = [&] {
        return model.results()->generation == model.generation() && model.results()->complete;
    };
    clock.waitUntil(isAnswered);

    const int rowHeight = warmUp(clock);
    report.progress("Qt's table");
    const Peer peer = measurePeer(clock, model.results()->rows.size(), rowHeight);
    report.progress("our table");
    {
        const double before = allocated();
        Desk desk(clock, model);
        measureScrolling(report, clock, desk, peer);
        const double bytes = allocated() - before;
        report.row({.step = "memory of the table, beyond the rows",
                    .ours = bytes,
                    .anchor = mostBytes,
                    .anchorName = "limit",
                    .goal = 1,
                    .unit = Unit::bytes});
        report.row({.step = "  against Qt's table",
                    .ours = bytes,
                    .anchor = peer.bytes,
                    .anchorName = "QTableView, as many rows",
                    .unit = Unit::bytes});
        measurePublishing(report, clock, model, desk, peer);
        measureUpdates(report, clock, model, desk, 100);
        measureUpdates(report, clock, model, desk, 0);
        clock.onFrame({});
    }
    report.progress("typing words");
    measureTyping(report, clock, model);
}

} // namespace quarrydex::bench
