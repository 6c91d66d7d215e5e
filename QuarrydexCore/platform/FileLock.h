/// A lock that one process of the user holds at a time, such as the right to write a catalogue.
///
/// Threads: any. Ownership: held until the object is destroyed or the process ends, however it
/// ends. Failure: acquire returns nothing when another process holds the lock, or none can be made.
#pragma once

#include <memory>
#include <string>

namespace quarrydex {

class FileLock {
  public:
    virtual ~FileLock() = default;

    /// The lock that stands for a path; makes the file and its folders. Does not wait.
    [[nodiscard]] static std::unique_ptr<FileLock> acquire(const std::string& path);
};

} // namespace quarrydex
