#include "QuarrydexCore/catalog/VolumeID.h"

#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <vector>

namespace quarrydex {

namespace {

constexpr std::size_t uuidField = 47;   ///< bytes of a text that the header holds
constexpr std::size_t rootField = 1023; ///< likewise

std::string hex(const char* format, std::uint64_t value) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

/// Texts one after the other, each with its length in front, so that no two lists read the same.
class Digest {
  public:
    void add(std::string_view text) {
        bytes_ += std::to_string(text.size());
        bytes_ += ':';
        bytes_ += text;
    }

    void add(const std::vector<std::string>& texts) {
        add(std::to_string(texts.size()));
        for (const std::string& text : texts)
            add(text);
    }

    [[nodiscard]] std::uint64_t hash() const { return fnv1a64(bytes_); }

  private:
    std::string bytes_;
};

std::vector<std::string> asSet(std::span<const std::string> texts) {
    std::vector<std::string> out(texts.begin(), texts.end());
    std::ranges::sort(out);
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

std::vector<std::string> asFolderSet(std::span<const std::string> folders) {
    std::vector<std::string> out;
    for (const std::string& folder : folders)
        out.emplace_back(withoutEndSlashes(folder));
    return asSet(out);
}

/// Any text as part of a file name.
std::string forFileName(std::string_view text) {
    constexpr std::size_t longest = 64;
    std::string out;
    for (char c : text.substr(0, longest)) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '-' || c == '.';
        out += isPlain && !(out.empty() && c == '.') ? c : '_';
    }
    return out.empty() ? "_" : out;
}

} // namespace

std::optional<std::string> VolumeID::uuid(const std::string& forPath) const {
    return info_.uuid(forPath);
}

std::string VolumeID::identity(const std::string& root) const {
    if (auto known = uuid(root))
        return *known;
    return "path-" + hex("%" PRIX64, fnv(root));
}

std::string VolumeID::fsType(const std::string& forPath) const {
    return info_.fsType(forPath);
}

std::uint64_t VolumeID::fnv(std::string_view bytes) {
    return fnv1a64(bytes);
}

std::uint64_t VolumeID::exclHash(std::span<const std::string> excludes) {
    Digest digest;
    digest.add(asFolderSet(excludes));
    return digest.hash();
}

std::uint64_t VolumeID::configHash(std::span<const std::string> excludes,
                                   std::span<const std::string> scopes,
                                   std::span<const std::string> includeExts) {
    Digest digest;
    digest.add(std::to_string(exclHash(excludes)));
    digest.add(asFolderSet(scopes));
    digest.add(asSet(includeExts));
    digest.add(std::to_string(foldScheme));
    digest.add(foldUnicodeVersion());
    return digest.hash();
}

std::string
VolumeID::snapshotPath(std::string_view uuid, std::string_view root, std::string_view in) {
    Digest digest;
    digest.add(uuid);
    digest.add(root);
    std::string path(in);
    if (!path.ends_with('/'))
        path += '/';
    return path + forFileName(uuid) + hex("-%016" PRIx64, digest.hash()) + ".idx";
}

std::string VolumeID::directory(const AppFolders& folders) {
    std::string path = folders.data();
    if (makeFolders(path) != 0)
        logLine("catalogs: " + path + " cannot be made");
    return path;
}

VolumeID::Resume VolumeID::resume(const SnapshotInfo& snapshot, const Live& live) {
    const auto isSame = [](std::string_view a, std::string_view b, std::size_t field) {
        return a.substr(0, field) == b.substr(0, field);
    };
    if (!isSame(snapshot.uuid, live.uuid, uuidField) ||
        !isSame(snapshot.root, live.root, rootField))
        return Resume::invalid;
    const bool hasHistory =
        !live.fseUUID.empty() && isSame(snapshot.fseUUID, live.fseUUID, uuidField);
    return hasHistory ? Resume::replay : Resume::reconcile;
}

} // namespace quarrydex
