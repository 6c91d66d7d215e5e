#include "QuarrydexApp/table/ResultsTable.h"

#include "QuarrydexApp/table/ResultsModel.h"
#include "QuarrydexCore/text/Lang.h"

#include "tests/support/TableWindow.h"
#include "tests/support/WidgetsApplication.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QScrollBar>
#include <QSignalSpy>

#include <random>
#include <set>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::comesTo;
using testing::numberedFiles;
using testing::TableWindow;
using Names = std::vector<std::string>;

// --- Columns ------------------------------------------------------------------------------------

std::vector<std::string> shownColumns(const ResultsTable& table) {
    std::vector<std::string> out;
    for (const Column column : const_cast<ResultsTable&>(table).header().visibleColumns())
        out.emplace_back(ColumnDef::of(column).id);
    return out;
}

void clickTitle(ResultsTable& table, Column column) {
    TableHeader& header = table.header();
    const int section = static_cast<int>(column);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {},
                      QPoint(header.sectionViewportPosition(section) + 10, header.height() / 2));
}

TEST(ResultsTableTest, ClickOnATitleSortsWhereThereIsAnOrder) {
    TableWindow w;
    w.add("/a", numberedFiles(3));
    w.table->overrideColumns({"name", "artist", "size", "date"});
    TableHeader& header = w.table->header();
    for (const bool isDesc : {false, true}) {
        clickTitle(*w.table, Column::size);
        EXPECT_EQ(w.model.searchState().sortKey, SortKey::size);
        EXPECT_EQ(w.model.searchState().sortDesc, isDesc);
    }
    const std::uint64_t generation = w.model.generation();
    clickTitle(*w.table, Column::artist);
    EXPECT_EQ(w.model.generation(), generation);
    EXPECT_EQ(header.sortIndicatorSection(), static_cast<int>(Column::size));
    EXPECT_EQ(header.sortIndicatorOrder(), Qt::DescendingOrder);

    w.model.setSort(SortKey::date, false); // by someone else
    w.settle();
    EXPECT_EQ(header.sortIndicatorSection(), static_cast<int>(Column::date));
}

TEST(ResultsTableTest, EachCategoryKeepsItsColumns) {
    TableWindow w;
    w.table->setCategory("audio");
    EXPECT_EQ(shownColumns(*w.table), ColumnSets::defaults("audio"));
    w.table->toggleColumn(Column::bpm);
    w.table->toggleColumn(Column::album);
    w.table->toggleColumn(Column::name); // stays
    w.table->setCategory("");
    EXPECT_EQ(shownColumns(*w.table), ColumnSets::defaults(""));
    w.table->setCategory("audio");
    const Names expected = {"name",    "artist", "title", "album", "duration",
                            "bitrate", "size",   "drive", "path"};
    EXPECT_EQ(shownColumns(*w.table), expected);
    EXPECT_EQ(w.prefs.visibleColumns("audio"), expected);

    w.table->overrideColumns({"path", "nonsense", "kind"});
    EXPECT_EQ(shownColumns(*w.table), (Names{"name", "kind", "path"}));
    w.table->toggleColumn(Column::kind);
    EXPECT_EQ(shownColumns(*w.table), (Names{"name", "path"}));
    EXPECT_EQ(w.prefs.visibleColumns("audio"), expected); // for this run only
}

TEST(ResultsTableTest, OrderWidthsAndSortingAreThereAgainNextTime) {
    TableWindow w;
    w.add("/a", numberedFiles(3));
    TableHeader& header = w.table->header();
    header.resizeSection(static_cast<int>(Column::size), 123);
    header.moveSection(header.visualIndex(static_cast<int>(Column::path)), 0);
    clickTitle(*w.table, Column::size);
    w.settle();
    const Names columns = shownColumns(*w.table);
    w.table.reset();
    ASSERT_TRUE(w.settings.values().contains("QuarrydexResults2"));

    w.model.setSort(SortKey::name, false);
    w.table = w.makeTable();
    EXPECT_EQ(shownColumns(*w.table), columns);
    EXPECT_EQ(columns.front(), "path");
    EXPECT_EQ(w.table->header().sectionSize(static_cast<int>(Column::size)), 123);
    EXPECT_EQ(w.model.searchState().sortKey, SortKey::size);
}

TEST(ResultsTableTest, StoredNonsenseLeavesAUsableTable) {
    TableWindow w;
    w.settings.update("QuarrydexResults2", [](nlohmann::json& value) {
        value = {{"order", {"path", "path", "what", "name"}},
                 {"widths", {{"name", -5}, {"size", 1e9}, {"kind", 77}, {"x", 3}}},
                 {"sort", "artist"},
                 {"desc", 7}};
    });
    w.table = w.makeTable();
    EXPECT_EQ(shownColumns(*w.table), (Names{"path", "name", "size", "date", "kind", "drive"}));
    EXPECT_EQ(w.table->header().sectionSize(static_cast<int>(Column::name)), 280);
    EXPECT_EQ(w.table->header().sectionSize(static_cast<int>(Column::kind)), 77);
    EXPECT_EQ(w.model.searchState().sortKey, SortKey::name);
}

TEST(ResultsTableTest, FittedColumnShowsItsVisibleRowsWhole) {
    TableWindow w;
    const std::string name(60, 'W');
    w.add("/a", {{.name = name, .parent = 0}, {.name = "b", .parent = 0}});
    w.table->fit(Column::name);
    const int text = w.table->fontMetrics().horizontalAdvance(QString::fromStdString(name));
    EXPECT_GE(w.table->header().sectionSize(0), text + RowPainter::nameIndent);
    EXPECT_EQ(w.table->header().sectionSize(0), w.table->prefWidth(Column::name));
}

// --- Cells --------------------------------------------------------------------------------------

TEST(ResultsTableTest, ModelOfTheRowsKeepsQtsRules) {
    TableWindow w;
    w.add("/a", numberedFiles(5));
    QAbstractItemModel& model = *w.table->model();
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    w.add("/b", {{.name = "song.mp3", .parent = 0, .size = 1'400'000}});
    w.model.setQuery("song");
    w.settle();
    ASSERT_EQ(model.rowCount(), 1);
    std::string texts;
    for (Column column :
         {Column::name, Column::kind, Column::drive, Column::path, Column::duration})
        texts += model.index(0, static_cast<int>(column)).data().toString().toStdString() + '|';
    EXPECT_EQ(texts, "song.mp3|MP3 · Audio|b|/b||");
}

TEST(ResultsTableTest, TagsComeFromTheTableOfTags) {
    TableWindow w;
    const auto index = w.add("/a", {{.name = "song.mp3", .parent = 0}});
    const auto tag = [&](const char* artist, std::uint16_t bitrateKbps) {
        AudioTable::Analysed row{.entry = 1, .mtime = 0, .meta = {}};
        row.meta.artist = artist;
        row.meta.durationMs = 187'000;
        row.meta.bitrateKbps = bitrateKbps;
        row.meta.sampleRate = 44'100;
        index->audio().upsert(std::span(&row, 1));
    };
    tag("Sigur Rós", 320);
    CellValues& values = w.table->values();
    const ShownRow song = w.table->shown().row(0);
    EXPECT_EQ(values.text(song, Column::artist), "Sigur Rós");
    EXPECT_EQ(values.text(song, Column::duration), "3:07");

    w.table->overrideColumns({"name", "duration", "bitrate", "rate"});
    ASSERT_TRUE(comesTo([&] { return values.lazy().pending() == 0; }));
    EXPECT_TRUE(w.files.asked().empty()); // everything is known
    tag("Someone else", 0);
    EXPECT_EQ(values.text(song, Column::artist), "Someone else");
    w.update();
    EXPECT_TRUE(comesTo([&] { return w.files.asked() == Names{"/a/song.mp3"}; }));
}

TEST(ResultsTableTest, OnlyVisibleRowsAreAskedAbout) {
    TableWindow w;
    std::vector<testing::PlainEntry> pictures;
    for (int i = 1000; i < 1500; ++i)
        pictures.push_back({.name = "p" + std::to_string(i) + ".jpg", .parent = 0, .mtime = 1});
    pictures.push_back({.name = "p1000.txt", .parent = 0});
    pictures.push_back({.name = "p1001", .parent = 0, .flags = EntryFlags::dir});
    const auto index = w.add("/a", pictures);
    const auto waitingFrom = [&](const std::string& first) {
        return comesTo([&] {
            const auto waiting = w.waitingPaths();
            return !waiting.empty() && *waiting.begin() == first;
        });
    };
    EXPECT_TRUE(w.files.asked().empty()); // no column shows anything of the files
    w.table->overrideColumns({"name", "dims"});
    ASSERT_TRUE(waitingFrom("/a/p1000.jpg"));
    const RowSelection::Range visible = w.table->visibleRows();
    EXPECT_EQ(w.files.waiting().size(), visible.end - visible.begin - 2); // a text, a folder
    EXPECT_EQ(w.files.asked().back(), "/a/p1000.jpg");                    // answered first

    w.table->verticalScrollBar()->setValue(300 * w.table->rowHeight());
    ASSERT_TRUE(waitingFrom("/a/" + w.name(300)));
    for (const std::string& path : w.waitingPaths()) // the rest was withdrawn
        EXPECT_GE(path, "/a/" + w.name(300));

    w.files.answerAll({.w = 640, .h = 480});
    EXPECT_EQ(w.table->values().text(w.table->shown().row(300), Column::dims), "640 × 480");
    const std::size_t asked = w.files.asked().size();
    fidx_set_meta(const_cast<fidx*>(&index->base()), rowEntry(w.table->shown().rows()[301]), 1, 2,
                  2);
    w.update(); // one picture has changed
    ASSERT_TRUE(comesTo([&] { return w.files.asked().size() > asked; }));
    EXPECT_EQ(w.waitingPaths(), std::set<std::string>{"/a/" + w.name(301)});

    w.model.setQuery("txt");
    w.settle();
    EXPECT_TRUE(w.files.waiting().empty());
    EXPECT_EQ(w.table->values().lazy().pending(), 0U);
}

TEST(ResultsTableTest, DrivesThatAreNotConnectedAreNotAsked) {
    TableWindow w;
    w.add("/a", {{.name = "a.jpg", .parent = 0}});
    w.add("/b", {{.name = "b.jpg", .parent = 0}});
    w.model.volumes()[0]->offline = true;
    w.table->overrideColumns({"name", "dims", "atime"});
    ASSERT_TRUE(comesTo([&] { return !w.files.asked().empty(); }));
    EXPECT_EQ(w.files.asked(), Names{"/b/b.jpg"});
}

// --- Selection and live updates -----------------------------------------------------------------

TEST(ResultsTableTest, SelectionFollowsItsFilesThroughLiveUpdates) {
    TableWindow w;
    const auto first = w.add("/a", numberedFiles(150));
    const auto second = w.add("/b", numberedFiles(150));
    w.model.setSort(SortKey::size, false);
    w.settle();
    const auto keys = [&] {
        std::set<std::pair<const VolumeIndex*, EntryId>> out;
        for (const RowSelection::Range& range : w.table->selected().ranges())
            for (std::size_t row = range.begin; row < range.end; ++row)
                out.emplace(w.table->shown().row(row).index, w.table->shown().row(row).entry);
        return out;
    };
    w.select({100, 160});
    auto expected = keys();
    std::mt19937 random(3);
    for (int round = 0; round < 20; ++round) {
        for (int change = 0; change < 5; ++change) {
            const auto& index = random() % 2 == 0 ? first : second;
            const auto id = static_cast<EntryId>(1 + random() % 150);
            fidx_set_meta(const_cast<fidx*>(&index->base()), id, random() % 100, 0, 0);
            if (change == 0) {
                index->markDeleted(id);
                expected.erase({index.get(), id});
            }
        }
        w.update();
        ASSERT_EQ(keys(), expected);
        ASSERT_EQ(w.table->selection().rows, expected.size());
    }
    EXPECT_FALSE(expected.empty());
}

TEST(ResultsTableTest, LongResultIsFollowedInTheBackground) {
    TableWindow w;
    const auto index = w.add("/a", numberedFiles(150'000));
    w.table->selectAll();
    w.table->verticalScrollBar()->setValue(100'000 * w.table->rowHeight() + 3);
    const std::string top = w.name(100'000);
    std::vector<EntryId> gone;
    for (EntryId id = 1; id <= 99'000; id += 2)
        gone.push_back(id);
    index->markDeleted(gone);
    w.update();
    EXPECT_EQ(w.table->shown().count(), 150'000U - gone.size());
    EXPECT_EQ(w.table->selected().count(), w.table->shown().count());
    EXPECT_EQ(w.name(w.table->topRow()), top);
    EXPECT_EQ(w.table->verticalScrollBar()->value() % w.table->rowHeight(), 3);

    // What is done while it is being followed is not lost.
    index->markDeleted(2);
    w.model.runSearch(false);
    ASSERT_TRUE(comesTo([&] {
        return w.model.results()->generation == w.model.generation() && w.model.results()->complete;
    }));
    w.select({5, 7});
    const Names chosen = w.selectedNames();
    w.settle();
    EXPECT_EQ(w.selectedNames(), chosen);
}

TEST(ResultsTableTest, NewSearchDropsTheSelectionAndBeginsAtTheTop) {
    TableWindow w;
    w.add("/a", numberedFiles(500));
    w.table->selectAll();
    w.table->verticalScrollBar()->setValue(1000);
    w.model.setQuery("f0000");
    w.settle();
    EXPECT_EQ(w.table->shown().count(), 100U);
    EXPECT_TRUE(w.table->selected().empty());
    EXPECT_EQ(w.table->verticalScrollBar()->value(), 0);
    EXPECT_EQ(w.table->currentRow(), std::nullopt);
}

TEST(ResultsTableTest, RestOfALongResultKeepsWhatWasSelectedInItsHead) {
    TableWindow w;
    w.add("/a", numberedFiles(20'000));
    w.model.setBrowseAll(true);
    ASSERT_TRUE(
        comesTo([&] { return w.table->shown().set()->generation == w.model.generation(); }));
    w.table->selectRow(3);
    w.settle();
    EXPECT_EQ(w.table->shown().count(), 20'000U);
    EXPECT_EQ(w.selectedNames(), Names{"f000003"});
    EXPECT_EQ(w.table->currentRow(), 3U);
}

TEST(ResultsTableTest, LastOfVeryManyRowsCanBeReached) {
    TableWindow w;
    auto index = std::shared_ptr<VolumeIndex>(testing::catalogOf(
        {{"/a", noParent, EntryFlags::dir | EntryFlags::root}, {.name = "x", .parent = 0}}));
    w.add("/a", index);
    // More pixels than a scroll bar can count.
    auto set = std::make_shared<ResultSet>(*w.model.results());
    set->rows.assign(60'000'000, set->rows.front());
    auto& model = dynamic_cast<ResultsModel&>(*w.table->model());
    model.show(ShownResults(std::move(set)));
    QTest::qWait(0); // the view learns of it by an event
    w.press(Qt::Key_End);
    EXPECT_EQ(w.table->currentRow(), 59'999'999U);
    EXPECT_EQ(w.table->visibleRows().end, 60'000'000U);
    const QRect cell = w.table->cellRect(59'999'999, Column::name);
    EXPECT_TRUE(w.table->viewport()->rect().contains(cell.center()));
    EXPECT_EQ(w.table->indexAt(cell.center()).row(), 59'999'999);
    model.show(ShownResults(w.model.results()));
}

// --- Mouse and keyboard -------------------------------------------------------------------------

TEST(ResultsTableTest, KeysMoveAndExtendTheSelection) {
    TableWindow w;
    w.add("/a", numberedFiles(100));

    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        RowSelection::Range selected;
    } steps[] = {
        {Qt::Key_Down, {}, {0, 1}},
        {Qt::Key_Down, {}, {1, 2}},
        {Qt::Key_Down, Qt::ShiftModifier, {1, 3}},
        {Qt::Key_Down, Qt::ShiftModifier, {1, 4}},
        {Qt::Key_Home, Qt::ShiftModifier, {0, 2}}, // turns over the anchor
        {Qt::Key_End, {}, {99, 100}},
        {Qt::Key_Home, {}, {0, 1}},
        {Qt::Key_Down, Qt::ControlModifier, {0, 1}}, // the current row alone
        {Qt::Key_Space, Qt::ControlModifier, {0, 2}},
        {Qt::Key_A, Qt::ControlModifier, {0, 100}},
    };

    for (const auto& [key, modifiers, selected] : steps) {
        w.press(key, modifiers);
        RowSelection expected;
        expected.add(selected);
        EXPECT_EQ(w.table->selected(), expected) << key;
    }
    w.press(Qt::Key_End);
    EXPECT_EQ(w.table->visibleRows().end, 100U);
    w.press(Qt::Key_PageUp);
    EXPECT_LT(w.table->selected().first(), 95U);
}

TEST(ResultsTableTest, ClicksSelectAsEverywhere) {
    TableWindow w;
    w.add("/a", numberedFiles(100));
    QSignalSpy changes(w.table.get(), &ResultsTable::selectionSummaryChanged);
    w.click(2);
    w.click(4, Qt::ControlModifier);
    EXPECT_EQ(w.selectedNames(), (Names{"f000002", "f000004"}));
    w.click(6, Qt::ShiftModifier);
    EXPECT_EQ(w.selectedNames(), (Names{"f000004", "f000005", "f000006"}));
    w.click(5); // part of the selection: alone, once the button is up
    EXPECT_EQ(w.selectedNames(), Names{"f000005"});
    w.click(5, Qt::ControlModifier);
    EXPECT_TRUE(w.table->selected().empty());
    EXPECT_EQ(changes.count(), 5);
}

TEST(ResultsTableTest, LettersGoToTheSearchField) {
    TableWindow w;
    w.add("/a", numberedFiles(3));
    QSignalSpy typed(w.table.get(), &ResultsTable::typed);
    w.press(Qt::Key_N);
    QKeyEvent composed(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, "é");
    QCoreApplication::sendEvent(w.table.get(), &composed);
    ASSERT_EQ(typed.count(), 2);
    EXPECT_EQ(typed[1][0].toString(), "é");
    w.press(Qt::Key_B, Qt::ControlModifier);
    w.press(Qt::Key_Escape);
    EXPECT_EQ(typed.count(), 2);
}

TEST(ResultsTableTest, LanguageRetitlesTheColumns) {
    TableWindow w;
    const auto title = [&] {
        return w.table->header().model()->headerData(static_cast<int>(Column::size), Qt::Horizontal,
                                                     Qt::DisplayRole);
    };
    Lang::shared().install("de", {{"Size", "Größe"}});
    QSignalSpy retitled(w.table->header().model(), &QAbstractItemModel::headerDataChanged);
    Lang::shared().setChoice("de");
    EXPECT_EQ(title().toString(), "Größe");
    EXPECT_EQ(retitled.count(), 1);
    Lang::shared().setChoice("en");
    EXPECT_EQ(title().toString(), "Size");
}

// --- Screen readers -----------------------------------------------------------------------------

TEST(AccessibleTableTest, ScreenReadersSeeATable) {
    TableWindow w;
    w.add("/a", numberedFiles(5));
    w.table->overrideColumns({"name", "path"});
    w.table->selectRow(2);
    QAccessibleInterface* object = QAccessible::queryAccessibleInterface(w.table.get());
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->text(QAccessible::Name), "Results");
    EXPECT_EQ(object->childCount(), 12); // with the titles
    QAccessibleTableInterface* table = object->tableInterface();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(std::pair(table->rowCount(), table->columnCount()), std::pair(5, 2));

    QAccessibleInterface* cell = table->cellAt(2, 1);
    EXPECT_EQ(cell->text(QAccessible::Name), "/a");
    EXPECT_TRUE(cell->state().selected);
    EXPECT_EQ(object->indexOfChild(cell), 7);
    EXPECT_EQ(object->child(7), cell);
    EXPECT_EQ(object->childAt(cell->rect().center().x(), cell->rect().center().y()), cell);
    EXPECT_EQ(cell->tableCellInterface()->columnHeaderCells().value(0), object->child(1));
    EXPECT_TRUE(table->selectRow(4));
    EXPECT_EQ(w.table->currentRow(), 4U);

    w.model.setQuery("f000001");
    w.settle();
    EXPECT_EQ(table->cellAt(0, 0)->text(QAccessible::Name), "f000001");
    EXPECT_EQ(table->cellAt(1, 0), nullptr);
}

} // namespace
} // namespace quarrydex
