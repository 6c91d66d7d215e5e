/// The question for a folder.
/// Threads: the main thread. Failure: a dialog that is cancelled never answers.
#pragma once

#include <functional>
#include <string>

class QWidget;

namespace quarrydex {

/// Asks in front of the parent, beginning in the folder `start`, and returns at once. `chosen` gets
/// an absolute path while the parent lives; it is empty for a folder whose name the dialog cannot
/// spell, because it is no UTF-8.
using FolderPicker = std::function<void(
    QWidget* parent, const std::string& start, std::function<void(std::string path)> chosen)>;

/// The system's own dialog.
[[nodiscard]] FolderPicker systemFolderPicker();

} // namespace quarrydex
