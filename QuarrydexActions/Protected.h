/// Which paths are never changed: fixed rules by place and name, and what the machine adds.
///
/// Threads: any; no state. Fails: never; what is in doubt is protected.
#pragma once

#include "QuarrydexActions/platform/ProtectedPaths.h"

#include <string>
#include <string_view>

namespace quarrydex {

/// True when a fixed rule, a home, one of its folders or a mount point covers the path, as it
/// stands or with the links on the way to it resolved. The path is one that cleanPath() returned.
[[nodiscard]] bool isProtectedPath(const std::string& path, const ProtectedPaths& paths);

/// Without doubled slashes, "." and the "/" at the end. Empty for a path that is not absolute,
/// holds a NUL, or has a "..", which means another folder once links are followed.
[[nodiscard]] std::string cleanPath(std::string_view path);

} // namespace quarrydex
