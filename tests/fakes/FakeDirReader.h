/// A folder tree that exists only as a table, for what no real file system does on request: a
/// folder that vanishes after its parent was listed, one that fails midway, another device.
///
/// Threads: filled first, then read by any number of threads.
#pragma once

#include "QuarrydexCore/platform/DirReader.h"
#include "QuarrydexCore/store/fidx.h"

#include <cerrno>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeDirReader final : public DirReader {
  public:
    struct Folder {
        std::vector<std::pair<std::string, DirChild>> children;
        int error = 0; ///< returned after the children
    };

    std::map<std::string, Folder> folders;         ///< by path; any other path is ENOENT
    std::map<std::string, std::int64_t> moveTimes; ///< by path; of any other path 0

    /// A folder's record; its own children are added under its path.
    void addFolder(const std::string& folder, const std::string& name, DirChild child = {}) {
        child.type = ObjectType::folder;
        add(folder, name, child);
        folders[folder + "/" + name];
    }

    /// The record of a child, to be changed.
    [[nodiscard]] DirChild& child(const std::string& folder, const std::string& name) {
        for (auto& [known, child] : folders.at(folder).children)
            if (known == name)
                return child;
        throw std::out_of_range(folder + "/" + name);
    }

    void add(const std::string& folder, const std::string& name, DirChild child) {
        folders[folder].children.emplace_back(name, child);
    }

    [[nodiscard]] int
    list(const std::string& path, ListOptions /*options*/, DirListing& out) const override {
        out.clear();
        const auto found = folders.find(path);
        if (found == folders.end())
            return ENOENT;
        for (auto [name, child] : found->second.children) {
            child.nameOffset = static_cast<std::uint32_t>(out.names.size());
            child.nameLength = static_cast<std::uint16_t>(name.size());
            out.names.append(name.c_str(), name.size() + 1);
            out.children.push_back(child);
        }
        return found->second.error;
    }

    [[nodiscard]] int status(const std::string& path, PathStatus& out) const override {
        out = {.type = ObjectType::folder};
        const std::size_t slash = path.rfind('/');
        const auto folder = folders.find(path.substr(0, slash));
        if (folder == folders.end())
            return folders.contains(path) ? 0 : ENOENT; // a root
        for (const auto& [name, child] : folder->second.children) {
            if (name != path.substr(slash + 1))
                continue;
            out = {.size = child.size,
                   .mtime = child.mtime,
                   .birthTime = child.birthTime,
                   .moveTime = moveTimes.contains(path) ? moveTimes.at(path) : 0,
                   .device = 1,
                   .type = child.type,
                   .isMountPoint = child.isMountPoint};
            return 0;
        }
        return ENOENT;
    }

    [[nodiscard]] int probeFolder(const std::string& path, std::uint64_t& device) const override {
        device = 1;
        return folders.contains(path) ? 0 : ENOENT;
    }
};

/// Makes scans read through a reader while this lives.
class InstalledDirReader {
  public:
    explicit InstalledDirReader(const DirReader& reader) { fidx_set_dir_reader(&reader); }

    ~InstalledDirReader() { fidx_set_dir_reader(nullptr); }

    InstalledDirReader(const InstalledDirReader&) = delete;
    InstalledDirReader& operator=(const InstalledDirReader&) = delete;
};

} // namespace quarrydex
