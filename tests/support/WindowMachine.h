/// A machine of tables for the windows around the model: a system drive and a stick. The home
/// folder is a real one, since personal folders and chosen ones are looked up on the disk.
///
/// Threads: the main thread, with a QApplication.
#pragma once

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/WindowSeams.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeChangeStream.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeDirReader.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeSettings.h"
#include "tests/fakes/FakeVolumeInfo.h"
#include "tests/support/TempTree.h"

#include <QAbstractButton>
#include <QWidget>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

namespace quarrydex::testing {

class WindowMachine {
  public:
    WindowMachine() {
        folders.dataPath = tree.path("data");
        folders.runtimePath = tree.path("run");
        disk.folders["/"];
        disk.folders["/media/stick"];
        volumes.volumes["/"] = {.uuid = "SYSTEM"};
        volumes.volumes["/media/stick"] = {.uuid = "STICK", .label = "Stick"};
    }

    [[nodiscard]] Platform platform() {
        return {disk, clock, mounts, volumes, folders, settings, streams};
    }

    Model& makeModel(ModelOptions options = {}) {
        options.prefs = &prefs;
        model = std::make_unique<Model>(std::move(options), platform());
        return *model;
    }

    /// The folder picker "chooses" `picked`.
    [[nodiscard]] WindowSeams seams() {
        place_ = std::make_unique<Platform>(platform());
        return {.platform = *place_,
                .pickFolder = [this](QWidget*, const std::string&, auto chosen) { chosen(picked); },
                .loginStart = nullptr};
    }

    TempTree tree;
    std::string home = std::filesystem::canonical(tree.path()).string() + "/ann";
    FakeDirReader disk;
    InstalledDirReader installed{disk};
    FakeClock clock;
    FakeMountTable mounts{{aMount(1, "/"), aMount(2, "/media/stick")}};
    FakeVolumeInfo volumes;
    FakeAppFolders folders{home};
    FakeSettings settings;
    FakeChangeStreams streams;
    Prefs prefs{settings, folders, mounts};
    std::string picked;
    std::unique_ptr<Model> model;

  private:
    std::unique_ptr<Platform> place_;
};

/// The widget of a kind that is visible below `top` and has this text; null when there is none.
template <typename Widget> Widget* withText(const QWidget& top, const char* text) {
    for (Widget* widget : top.findChildren<Widget*>())
        if (widget->isVisibleTo(&top) && widget->text() == QString::fromUtf8(text))
            return widget;
    return nullptr;
}

/// The button with this text is pressed; false when there is none that can be.
inline bool press(const QWidget& top, const char* text) {
    auto* button = withText<QAbstractButton>(top, text);
    if (button == nullptr || !button->isEnabled())
        return false;
    button->click();
    return true;
}

} // namespace quarrydex::testing
