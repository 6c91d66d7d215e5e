#include "QuarrydexApp/windows/Menus.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QApplication>
#include <QKeyEvent>

namespace quarrydex {

namespace {

QAction* add(QMenu& menu,
             const std::string& title,
             const std::function<void()>& command,
             const QKeySequence& keys = {}) {
    QAction* action = menu.addAction(qt(title), command);
    action->setShortcut(keys);
    return action;
}

/// Gives the widget that has the keyboard the keys of a standard command.
std::function<void()> press(QKeySequence::StandardKey command) {
    return [command] {
        QWidget* widget = QApplication::focusWidget();
        const auto bindings = QKeySequence::keyBindings(command);
        if (widget == nullptr || bindings.isEmpty())
            return;
        const QKeyCombination keys = bindings.first()[0];
        for (auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent event(type, keys.key(), keys.keyboardModifiers());
            QCoreApplication::sendEvent(widget, &event);
        }
    };
}

} // namespace

std::unique_ptr<QMenu> buildMainMenu(const MenuCommands& commands) {
    const TrArg name("name", appName);
    auto menu = std::make_unique<QMenu>();
    add(*menu, tr("About {name}", {name}), commands.showAbout);
    menu->addSeparator();
    add(*menu, tr("Settings …"), commands.showSettings, Qt::CTRL | Qt::Key_Comma);
    add(*menu, tr("Find duplicates …"), commands.showDuplicates, Qt::CTRL | Qt::Key_D);
    menu->addSeparator();
    add(*menu, tr("Hide {name}", {name}), commands.hide, Qt::CTRL | Qt::Key_H);
    add(*menu, tr("Hide Others"), commands.hideOthers, Qt::CTRL | Qt::ALT | Qt::Key_H);
    add(*menu, tr("Show All"), commands.showAll);
    menu->addSeparator();

    // The keys themselves belong to the widget that has the keyboard; here they only stand.
    QMenu* edit = menu->addMenu(qt(tr("Edit")));
    add(*edit, tr("Cut"), press(QKeySequence::Cut));
    add(*edit, tr("Copy"), press(QKeySequence::Copy));
    add(*edit, tr("Paste"), press(QKeySequence::Paste));
    add(*edit, tr("Select All"), press(QKeySequence::SelectAll));
    QMenu* window = menu->addMenu(qt(tr("Window")));
    add(*window, tr("Minimize"), commands.minimize, Qt::CTRL | Qt::Key_M);
    add(*window, tr("Zoom"), commands.zoom);
    menu->addSeparator();
    add(*menu, tr("Quit {name}", {name}), commands.quit, Qt::CTRL | Qt::Key_Q);
    return menu;
}

std::unique_ptr<QMenu> buildStatusMenu(const MenuCommands& commands) {
    auto menu = std::make_unique<QMenu>();
    add(*menu, tr("Open search"), commands.togglePanel);
    add(*menu, tr("Find duplicates …"), commands.showDuplicates);
    add(*menu, tr("Settings …"), commands.showSettings);
    add(*menu, tr("Check for updates …"), commands.checkForUpdates);
    menu->addSeparator();
    add(*menu, tr("Quit {name}", {{"name", appName}}), commands.quit);
    return menu;
}

} // namespace quarrydex
