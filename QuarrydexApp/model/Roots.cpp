#include "QuarrydexApp/model/Roots.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace quarrydex {

namespace {

namespace fs = std::filesystem;

/// Where the path really is; a part at its end that does not exist is kept as it stands.
std::string realPlace(const std::string& path) {
    std::error_code error;
    const fs::path real = fs::weakly_canonical(path, error);
    return error ? path : real.string();
}

std::string withSlash(const std::string& folder) {
    return folder.ends_with('/') ? folder : folder + '/';
}

} // namespace

std::string cleanPath(const std::string& typed) {
    std::error_code error;
    if (typed.empty())
        return {};
    fs::path clean = "/";
    for (const fs::path& part : fs::absolute(typed, error)) {
        if (part == "..")
            clean = fs::path(realPlace(clean)).parent_path();
        else if (part != "." && !part.empty() && !part.is_absolute())
            clean /= part;
    }
    return error ? typed : clean.string();
}

std::string pathBelow(const std::string& root, const std::string& path) {
    const std::string realRoot = realPlace(root);
    const std::string realPath = realPlace(path);
    if (realPath == realRoot)
        return root;
    const std::string prefix = withSlash(realRoot);
    return realPath.starts_with(prefix) ? withSlash(root) + realPath.substr(prefix.size()) : "";
}

std::vector<ScanRoot> scanRoots(std::span<const std::string> folders,
                                std::span<const std::string> excludes) {
    std::vector<ScanRoot> roots;
    for (const std::string& folder : folders) {
        const std::string path = cleanPath(folder);
        const bool isKnown = std::ranges::any_of(
            roots, [&](const ScanRoot& root) { return realPlace(root.path) == realPlace(path); });
        if (!isKnown)
            roots.push_back({path, {}});
    }
    const auto exclude = [](ScanRoot& root, const std::string& folder) {
        const std::string below = pathBelow(root.path, folder);
        if (!below.empty() && below != root.path)
            root.excludes.push_back(below);
    };
    for (ScanRoot& root : roots) {
        for (const std::string& folder : excludes)
            exclude(root, cleanPath(folder));
        for (const ScanRoot& other : roots)
            exclude(root, other.path);
    }
    return roots;
}

} // namespace quarrydex
