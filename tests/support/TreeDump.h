/// Everything that a folder tree holds, so that two moments can be compared: names, types, modes,
/// owners, inode numbers, link counts, contents and targets. Times are left out.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include <sys/stat.h>

namespace quarrydex {

/// A line for every path below the folder and for the folder itself.
using TreeDump = std::map<std::string, std::string>;

inline std::string describeObject(const std::filesystem::path& path) {
    struct stat st {};

    std::ostringstream out;
    if (::lstat(path.c_str(), &st) != 0)
        return "(gone)";
    out << std::oct << st.st_mode << std::dec << " owner " << st.st_uid << ":" << st.st_gid
        << " inode " << st.st_ino;
    if (S_ISLNK(st.st_mode))
        out << " → " << std::filesystem::read_symlink(path).native();
    if (S_ISREG(st.st_mode)) {
        std::ifstream file(path, std::ios::binary);
        out << " links " << st.st_nlink << " size " << st.st_size << " bytes "
            << std::string(std::istreambuf_iterator<char>(file), {});
    }
    return out.str();
}

inline TreeDump dumpTree(const std::string& folder) {
    TreeDump dump{{folder, describeObject(folder)}};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        dump[entry.path().native()] = describeObject(entry.path());
    return dump;
}

} // namespace quarrydex
