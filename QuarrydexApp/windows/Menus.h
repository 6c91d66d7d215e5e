/// The program's menus: one that the search window's button opens, and one of the tray icon.
///
/// Threads: the main thread. Ownership: the menus belong to whoever asked for them; the commands'
/// functions must live as long. Fails: never.
#pragma once

#include <QMenu>

#include <functional>
#include <memory>

namespace quarrydex {

/// What the menus do.
struct MenuCommands {
    std::function<void()> togglePanel;
    std::function<void()> showDuplicates;
    std::function<void()> showSettings;
    std::function<void()> checkForUpdates;
    std::function<void()> showAbout;
    std::function<void()> hide;
    std::function<void()> hideOthers;
    std::function<void()> showAll;
    std::function<void()> minimize;
    std::function<void()> zoom;
    std::function<void()> quit;
};

/// `buildMainMenu`: the application's commands, then "Edit" and "Window".
[[nodiscard]] std::unique_ptr<QMenu> buildMainMenu(const MenuCommands& commands);

/// `buildStatusMenu`
[[nodiscard]] std::unique_ptr<QMenu> buildStatusMenu(const MenuCommands& commands);

} // namespace quarrydex
