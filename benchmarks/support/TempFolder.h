/// A folder for what a measurement needs, removed with all that is in it.
/// Main thread. Fails: where no folder can be made the path is empty.
#pragma once

#include <filesystem>
#include <string>

#include <stdlib.h>

namespace quarrydex::bench {

class TempFolder {
  public:
    explicit TempFolder(const std::filesystem::path& in = std::filesystem::temp_directory_path())
        : path_(in / "quarrydex-bench-XXXXXX") { // mkdtemp fills in the last six letters
        if (::mkdtemp(path_.data()) == nullptr)
            path_.clear();
    }

    /// On the disk that the benchmark is started on: the usual place may be memory.
    [[nodiscard]] static TempFolder onDisk() { return TempFolder(std::filesystem::current_path()); }

    ~TempFolder() {
        std::error_code error;
        if (isMade())
            std::filesystem::remove_all(path_, error);
    }

    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    [[nodiscard]] bool isMade() const { return !path_.empty(); }

    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] std::string path(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace quarrydex::bench
