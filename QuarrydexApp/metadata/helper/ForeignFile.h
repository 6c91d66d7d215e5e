/// A file as it was found: nothing is known about who wrote it.
///
/// Links are followed; pipes, sockets and devices are never opened, so that nothing waits and
/// nothing is set off. Reading leaves the time of the last opening alone where the system permits
/// that. Threads: one. Failure: isReadable() is false and what it would give is empty.
#pragma once

#include <QFile>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

class ForeignFile {
  public:
    explicit ForeignFile(const std::string& path);

    /// Last opened, seconds since 1970-01-01 UTC; of folders and whatever else has a name too.
    [[nodiscard]] std::optional<std::int64_t> atime() const { return atime_; }

    /// It is a regular file, and open.
    [[nodiscard]] bool isReadable() const { return file_.isOpen(); }

    /// At the beginning of the file, unless someone has read on.
    [[nodiscard]] QFile& device() { return file_; }

    /// At most this many of its first bytes.
    [[nodiscard]] std::string head(std::size_t most) const;

  private:
    QFile file_;
    std::optional<std::int64_t> atime_;
};

} // namespace quarrydex
