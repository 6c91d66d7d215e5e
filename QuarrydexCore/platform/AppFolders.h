/// Where things lie for the user that the program runs as. No folder is created here.
///
/// Threads: any. Fails: never. Paths are absolute, raw bytes, without "/" at their end.
#pragma once

#include <string>
#include <vector>

namespace quarrydex {

class AppFolders {
  public:
    virtual ~AppFolders() = default;

    [[nodiscard]] virtual std::string home() const = 0;

    /// For catalogues: what took long to make, or can no longer be made.
    [[nodiscard]] virtual std::string data() const = 0;

    /// For what the user decided.
    [[nodiscard]] virtual std::string config() const = 0;

    /// For locks and sockets: the same folder for every process of the user.
    [[nodiscard]] virtual std::string runtime() const = 0;

    /// The folders that the desktop names for the user's desktop, documents, downloads, videos,
    /// music and pictures, in this order; those it does not name are left out. They may not exist.
    [[nodiscard]] virtual std::vector<std::string> namedFolders() const = 0;
};

} // namespace quarrydex
