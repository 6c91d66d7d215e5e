/// The folders that one refresh was asked to visit, as a tree of path components, so that their
/// entry ids are found together: one pass over the catalogue's folder list finds them all, however
/// many paths were asked for and however deep they are.
///
/// Threads: one. Lives for the start of one refresh.
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/DirReader.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// A folder to read in place of a path that was asked for.
struct Visit {
    EntryId folder{};
    bool isExact{}; ///< the path's own folder, open to its contents
};

class VisitTree {
  public:
    explicit VisitTree(const VolumeIndex& index);

    /// Notes a folder's path, under every root that holds it. Paths outside the roots are ignored.
    void add(std::string_view path);

    /// The folder to read for each path: its own, or the nearest one above it that the catalogue
    /// knows, that still is a folder, and that no mount point separates from its root.
    [[nodiscard]] std::vector<Visit> visits();

  private:
    struct Node {
        std::string path;
        EntryId id = noParent; ///< noParent: the catalogue has no such live folder
        bool isAsked = false;
        std::map<std::string, std::unique_ptr<Node>, std::less<>> children; ///< by name bytes
    };

    void addBelow(Node& root, std::string_view rest);
    void resolve();
    static void collect(const Node& node, std::vector<Visit>& out);

    const VolumeIndex& index_;
    std::vector<std::unique_ptr<Node>> roots_;
    std::size_t unresolved_ = 0; ///< nodes without an id, before resolve()
};

} // namespace quarrydex
