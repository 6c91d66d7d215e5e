/// The folders that changed since the last delivery, each once, with the flags of all its reports.
///
/// Threads: one at a time.
#pragma once

#include "QuarrydexCore/platform/ChangeStream.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// True for the folder itself and everything below it.
[[nodiscard]] bool isWithin(std::string_view path, std::string_view folder);

class ChangeBatch {
  public:
    /// Both without "/" at the end of a path, but for "/" itself.
    ChangeBatch(std::vector<std::string> roots, std::vector<std::string> ignored);

    /// Leaves out what is in no root, or ignored.
    void add(std::string path, std::uint32_t flags);

    [[nodiscard]] const std::vector<std::string>& roots() const { return roots_; }

    [[nodiscard]] bool isIgnored(std::string_view path) const;

    void clear() { flags_.clear(); }

    /// All of it under one id; leaves the batch empty.
    [[nodiscard]] std::vector<ChangeEvent> take(std::uint64_t id);

  private:
    const std::vector<std::string> roots_;
    const std::vector<std::string> ignored_;
    std::map<std::string, std::uint32_t> flags_;
};

} // namespace quarrydex
