/// Random changes to a folder tree through the calls that programs use, at full speed: files made,
/// written, cut, renamed, exchanged, removed; folders moved within the tree, out of it and in
/// again, and made anew under an old name as another kind of object.
///
/// Every name is one of a few, so that operations meet often. The folders touched are counted as a
/// watcher must see them: those in which a name came, went or changed, and every folder of a
/// subtree that arrived.
///
/// Without writes in place, whatever happens can be told from the folders' times afterwards.
///
/// Threads: step() by one thread; takeTouched() by any.
#pragma once

#include "QuarrydexCore/base/Mutex.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FileStorm {
  public:
    struct Options {
        unsigned seed = 1;
        bool writesInPlace = true; ///< change files without changing their folder's time
    };

    /// `root` and `outside` are folders on one file system.
    FileStorm(std::string root, std::string outside, Options options);

    /// Makes a first tree.
    void populate(std::size_t operations);

    void run(std::size_t operations) {
        for (std::size_t i = 0; i < operations; ++i)
            step();
    }

    void step();

    /// The folders touched since the last call, and how many they are.
    [[nodiscard]] std::vector<std::string> takeFolders();

    [[nodiscard]] std::size_t takeTouched() { return takeFolders().size(); }

  private:
    [[nodiscard]] std::size_t below(std::size_t n) { return random_() % n; }

    [[nodiscard]] const std::string& anyFolder();
    [[nodiscard]] std::string anyName();

    [[nodiscard]] bool mayGo(const std::string& path);

    [[nodiscard]] bool isFolder(const std::string& path) const { return folders_.contains(path); }

    void write(const std::string& path);
    void cut(const std::string& path);
    void makeFolder(const std::string& path);
    void makeTree(const std::string& path);
    void makeLink(const std::string& path);
    void remove(const std::string& path);
    void makeAgain(const std::string& path);
    void rename(const std::string& from, const std::string& to);
    void exchange(const std::string& a, const std::string& b);
    void moveOut(const std::string& path);
    void moveIn(const std::string& path);
    void setTime(const std::string& path);

    void touchParent(const std::string& path);
    void touchTree(const std::string& path);
    void markArrived(const std::string& path);
    void moveKnown(const std::string& from, const std::string& to);
    void forget(const std::string& path);

    const std::string root_;
    const std::string outside_;
    const Options options_;
    std::mt19937 random_;
    std::set<std::string> folders_; ///< full paths, inside the root and outside
    std::size_t outsideNames_ = 0;

    Mutex lock_;
    std::set<std::string> touched_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
