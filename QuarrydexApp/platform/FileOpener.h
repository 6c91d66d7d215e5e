/// Hands files to the desktop: to be opened by their applications, or shown in the file manager.
///
/// Paths are raw bytes in any encoding. Threads: the main thread; nothing waits, neither for the
/// desktop nor for the files. Failure: told through the function, later and on the main thread, in
/// the user's language; it may be called after whoever asked is gone, so it holds no bare pointer.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace quarrydex {

class FileOpener {
  public:
    using Failed = std::function<void(const std::string& message)>;

    virtual ~FileOpener() = default;

    /// Each with its default application, a folder with the file manager.
    virtual void open(const std::vector<std::string>& paths, Failed failed) = 0;

    /// In their folders, selected where the file manager can do that.
    virtual void reveal(const std::vector<std::string>& paths, Failed failed) = 0;
};

} // namespace quarrydex
