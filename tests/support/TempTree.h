/// A folder tree in a fresh temporary folder, removed with the object.
///
/// Every relative path is walked folder by folder, so that trees deeper than the system's longest
/// path can be built too; missing folders on the way are created. A failed call throws
/// std::system_error, which fails the test.
#pragma once

#include "QuarrydexCore/base/Fd.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace quarrydex {

class TempTree {
  public:
    /// In the folder given, else in TMPDIR, else in /tmp.
    explicit TempTree(const char* parent = nullptr);
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    /// Full path of the tree, or of something inside it. No trailing "/".
    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] std::string path(std::string_view rel) const;

    void folder(std::string_view rel);
    void file(std::string_view rel, std::size_t size = 0);
    void file(std::string_view rel, std::string_view bytes);
    void link(std::string_view rel, std::string_view target);
    void hardLink(std::string_view rel, std::string_view existing);
    void fifo(std::string_view rel);
    void socket(std::string_view rel);

    /// Modification time in seconds since 1970, of the object itself (a link is not followed).
    void setTimes(std::string_view rel, std::int64_t mtime);
    void chmod(std::string_view rel, mode_t mode);
    void rename(std::string_view from, std::string_view to);

    /// Removes a file, or a folder with everything in it.
    void remove(std::string_view rel);

  private:
    struct Place {
        Fd folder;
        std::string name;
    };

    [[nodiscard]] Place place(std::string_view rel) const;

    std::string path_;
    Fd top_;
};

} // namespace quarrydex
