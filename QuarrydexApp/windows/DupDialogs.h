/// What the duplicates window asks and tells in windows of their own, so that a test can answer.
/// Threads: the main thread. Fails: never; a dialogue that is dismissed answers nothing.
#pragma once

#include <QString>

#include <functional>
#include <string>

class QWidget;

namespace quarrydex {

struct DupDialogs {
    using PathChosen = std::function<void(const std::string& path)>; ///< raw bytes

    /// Where to write a file; returns at once.
    std::function<void(QWidget* parent, const QString& suggestedName, PathChosen chosen)> askPath;

    /// An alert; returns at once.
    std::function<void(QWidget* parent, const QString& title, const QString& text)> alert;

    [[nodiscard]] static DupDialogs ofDesktop();
};

} // namespace quarrydex
