/// Random changes to a folder tree, with what a watcher would report of them.
#pragma once

#include "tests/support/TempTree.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace quarrydex {

/// Changes a tree at random and notes which folders a watcher would report.
class TreeStorm {
  public:
    TreeStorm(TempTree& tree, unsigned seed) : tree_(tree), random_(seed) {}

    std::vector<std::string> touched; ///< folders in which something changed
    std::vector<std::string> arrived; ///< folders that were made or moved: to be re-read whole

    void step() {
        const std::string folder = pick(folders_);
        const std::string name = folder + "/" + "abcdef"[below(6)];
        switch (below(7)) {
        case 0:
        case 1:
            makeFolder(name);
            break;
        case 2:
            move(name, pick(folders_) + "/" + "abcdef"[below(6)]);
            break;
        case 3:
            remove(name);
            break;
        case 4:
            if (!isFolder(name) && exists(name)) {
                tree_.setTimes(rel(name), static_cast<std::int64_t>(below(1U << 30)));
                note(name);
            }
            break;
        default:
            if (!isFolder(name)) {
                remove(name);
                if (below(4) == 0)
                    tree_.link(rel(name), "target");
                else
                    tree_.file(rel(name), below(1000));
                note(name);
            }
        }
    }

  private:
    // Names here start with "/", relative to the tree; folders_[0] = "" is the tree itself.
    [[nodiscard]] static std::string rel(const std::string& name) { return name.substr(1); }

    [[nodiscard]] std::string full(const std::string& name) const { return tree_.path() + name; }

    [[nodiscard]] std::size_t below(std::size_t n) { return random_() % n; }

    [[nodiscard]] std::string pick(const std::vector<std::string>& from) {
        return from[below(from.size())];
    }

    [[nodiscard]] bool isFolder(const std::string& name) const {
        return std::find(folders_.begin(), folders_.end(), name) != folders_.end();
    }

    [[nodiscard]] bool exists(const std::string& name) const {
        return ::faccessat(AT_FDCWD, full(name).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    }

    void note(const std::string& name) { touched.push_back(full(name.substr(0, name.rfind('/')))); }

    void forget(const std::string& folder) {
        std::erase_if(folders_, [&](const std::string& known) {
            return known == folder || known.starts_with(folder + "/");
        });
    }

    void makeFolder(const std::string& name) {
        if (isFolder(name))
            return;
        remove(name);
        tree_.folder(rel(name));
        folders_.push_back(name);
        arrived.push_back(full(name));
        note(name);
    }

    void remove(const std::string& name) {
        if (!exists(name))
            return;
        tree_.remove(rel(name));
        forget(name);
        note(name);
    }

    void move(const std::string& from, const std::string& to) {
        if (!exists(from) || from == to || (to + "/").starts_with(from + "/") ||
            (from + "/").starts_with(to + "/"))
            return;
        remove(to);
        std::vector<std::string> moved;
        for (const std::string& known : folders_)
            if (known == from || known.starts_with(from + "/"))
                moved.push_back(to + known.substr(from.size()));
        tree_.rename(rel(from), rel(to));
        forget(from);
        folders_.insert(folders_.end(), moved.begin(), moved.end());
        if (!moved.empty())
            arrived.push_back(full(to));
        note(from);
        note(to);
    }

    TempTree& tree_;
    std::mt19937 random_;
    std::vector<std::string> folders_ = {""};
};

} // namespace quarrydex
