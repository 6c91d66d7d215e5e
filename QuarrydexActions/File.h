/// `File`: the only two things that the program does to the user's files, moving to the Trash and
/// renaming, both behind one check.
///
/// Paths and names are raw bytes in any encoding. The check refuses what `isProtected` names and
/// what is not there, and remembers device, inode and type of the rest; both are compared again
/// immediately before the system is called, so that nothing is done to an object that has taken the
/// place of the one that was checked. platform/Trash.h and platform/Rename.h say which windows
/// remain. (An object that is deleted and made anew under the same inode number and with the same
/// type counts as the same.)
///
/// Threads: any; the calls wait for the disk. Failure: `Failure`; the files are then as they were.
#pragma once

#include "QuarrydexActions/platform/ActionsPlatform.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quarrydex::File {

/// Why nothing was done. what() is the description, in the language in effect when it was thrown.
class Failure : public std::runtime_error {
  public:
    enum class Case : std::uint8_t { missing, protected_, invalidName, exists, noTrash, system };

    static Failure missing(std::string path);
    static Failure protected_(std::string path);
    static Failure invalidName(std::string message);
    static Failure exists(std::string name);
    static Failure noTrash(std::string path);
    static Failure system(std::string message);

    [[nodiscard]] Case kind() const { return kind_; }

    /// The path, message or name that the case was made of.
    [[nodiscard]] const std::string& payload() const { return payload_; }

    [[nodiscard]] std::string errorDescription() const { return what(); }

  private:
    Failure(Case kind, std::string payload, const std::string& description)
        : std::runtime_error(description), kind_(kind), payload_(std::move(payload)) {}

    Case kind_;
    std::string payload_;
};

/// The one form of a path of which there are two: without a leading "/System/Volumes/Data".
[[nodiscard]] std::string realPath(std::string_view path);

[[nodiscard]] bool isMountPoint(const std::string& path,
                                const ActionsPlatform& platform = systemActionsPlatform());

/// True for drives, homes, their standard folders, system folders and mount points; Protected.h has
/// the rules. True also for a path that is not absolute or not plain ("..", a NUL).
[[nodiscard]] bool isProtected(std::string_view path,
                               const ActionsPlatform& platform = systemActionsPlatform());

/// The real path of an object that may be changed. Throws `protected_` and `missing`.
[[nodiscard]] std::string check(std::string_view path,
                                const ActionsPlatform& platform = systemActionsPlatform());

/// Returns where the object lies in the Trash, if the system tells. A link is moved itself, never
/// its target.
std::optional<std::string> moveToTrash(std::string_view path,
                                       const ActionsPlatform& platform = systemActionsPlatform());

/// `changeName(of:to:)`: spaces and tabs around the new name are dropped. Never replaces anything.
/// Returns the new path.
std::string changeName(std::string_view path,
                       std::string_view newName,
                       const ActionsPlatform& platform = systemActionsPlatform());

} // namespace quarrydex::File
