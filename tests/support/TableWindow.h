/// A results table over a real model, with everything around it played by fakes.
/// Threads: the main thread.
#pragma once

#include "QuarrydexActions/platform/ActionsPlatform.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/table/Coordinator.h"
#include "QuarrydexApp/table/ResultsTable.h"
#include "QuarrydexApp/table/TableHeader.h"

#include "tests/fakes/FakeAlerts.h"
#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeFileMetaSource.h"
#include "tests/fakes/FakeFileOpener.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeProtectedPaths.h"
#include "tests/fakes/FakeRename.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/fakes/FakeTrash.h"
#include "tests/support/EventLoop.h"
#include "tests/support/PlainCatalog.h"

#include <QLineEdit>
#include <QTest>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::testing {

struct TableWindow {
    FakeSettings settings;
    FakeAppFolders folders;
    FakeMountTable mounts;
    Prefs prefs{settings, folders, mounts};
    Model model{{}};
    FakeFileOpener opener;
    FakeFileMetaSource files;
    FakeTrash trash;
    FakeRename rename;
    FakeProtectedPaths paths;
    ActionsPlatform actions{trash, rename, paths};
    FakeAlerts alerts;
    std::unique_ptr<ResultsTable> table = makeTable();

    std::unique_ptr<ResultsTable> makeTable() {
        auto made = std::make_unique<ResultsTable>(
            ResultsTable::Services{model, prefs, opener, files, actions, &alerts});
        made->resize(900, 400);
        made->show();
        return made;
    }

    /// Adds a drive and shows all that there is.
    std::shared_ptr<VolumeIndex> add(const std::string& root, std::shared_ptr<VolumeIndex> index) {
        model.addVolume(root, index);
        if (model.searchState().browseAll)
            model.runSearch(true);
        else
            model.setBrowseAll(true);
        settle();
        return index;
    }

    std::shared_ptr<VolumeIndex> add(const std::string& root, std::vector<PlainEntry> entries) {
        entries.insert(entries.begin(), {root, noParent, EntryFlags::dir | EntryFlags::root});
        return add(root, std::shared_ptr<VolumeIndex>(catalogOf(entries)));
    }

    /// The table shows the whole answer to the newest search.
    void settle() {
        ASSERT_TRUE(comesTo([&] {
            const auto& results = model.results();
            return results->generation == model.generation() && results->complete &&
                   table->shown().set() == results;
        }));
    }

    /// A change of the catalogue has been noticed.
    void update() {
        model.runSearch(false);
        settle();
    }

    [[nodiscard]] std::string name(std::size_t row) const {
        const ShownRow shown = table->shown().row(row);
        return std::string(shown.index->name(shown.entry));
    }

    /// Paths of the files whose values are waited for, in the order of their names.
    [[nodiscard]] std::set<std::string> waitingPaths() const {
        std::set<std::string> out;
        for (const auto& question : files.waiting())
            out.insert(question.path);
        return out;
    }

    [[nodiscard]] std::vector<std::string> selectedNames() const {
        std::vector<std::string> out;
        for (const RowSelection::Range& range : table->selected().ranges())
            for (std::size_t at = range.begin; at < range.end; ++at)
                out.push_back(name(at));
        return out;
    }

    void select(RowSelection::Range range) {
        RowSelection rows;
        rows.add(range);
        table->setSelected(rows);
    }

    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(table.get(), static_cast<Qt::Key>(key), modifiers);
    }

    void click(std::size_t row, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers,
                          table->cellRect(row, Column::name).center());
    }

    [[nodiscard]] QLineEdit* editor() const { return table->findChild<QLineEdit*>(); }

    void finishActions() {
        ASSERT_TRUE(comesTo([&] { return !table->coordinator().isBusy(); }));
    }
};

/// So many files, "f000000" and on.
inline std::vector<PlainEntry> numberedFiles(std::size_t count) {
    std::vector<PlainEntry> out;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string digits = std::to_string(i);
        out.push_back({.name = "f" + std::string(6 - digits.size(), '0') + digits, .parent = 0});
    }
    return out;
}

} // namespace quarrydex::testing
