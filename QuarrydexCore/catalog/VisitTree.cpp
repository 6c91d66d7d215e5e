#include "QuarrydexCore/catalog/VisitTree.h"

#include <cerrno>
#include <unordered_map>

namespace quarrydex {

namespace {

std::string_view withoutFinalSlashes(std::string_view path) {
    while (path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

enum class Passage : std::uint8_t { open, mountPoint, gone };

/// Whether what lies below a known folder still is the catalogue's. A folder that merely cannot be
/// examined counts as open: nothing is concluded from a refusal.
Passage examine(const std::string& path) {
    PathStatus status;
    const int error = fidx_dir_reader().status(path, status);
    if (error != 0)
        return error == ENOENT || error == ENOTDIR ? Passage::gone : Passage::open;
    if (status.type != ObjectType::folder)
        return Passage::gone;
    return status.isMountPoint ? Passage::mountPoint : Passage::open;
}

} // namespace

VisitTree::VisitTree(const VolumeIndex& index) : index_(index) {
    for (EntryId id : index.roots()) {
        roots_.push_back(std::make_unique<Node>());
        roots_.back()->path = withoutFinalSlashes(index.name(id)); // "/" becomes ""
        roots_.back()->id = id;
    }
}

void VisitTree::add(std::string_view path) {
    path = withoutFinalSlashes(path);
    for (const auto& root : roots_) {
        if (!path.starts_with(root->path))
            continue;
        const std::string_view rest = path.substr(root->path.size());
        if (rest.empty() || rest.front() == '/')
            addBelow(*root, rest);
    }
}

void VisitTree::addBelow(Node& root, std::string_view rest) {
    Node* node = &root;
    while (!rest.empty()) {
        const std::size_t slash = rest.find('/');
        const std::string_view name = rest.substr(0, slash);
        rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
        if (name.empty())
            continue;
        auto found = node->children.find(name);
        if (found == node->children.end()) {
            auto child = std::make_unique<Node>();
            child->path = node->path + "/" + std::string(name);
            found = node->children.emplace(name, std::move(child)).first;
            ++unresolved_;
        }
        node = found->second.get();
    }
    node->isAsked = true;
}

void VisitTree::resolve() {
    const std::uint32_t count = index_.count();
    BitWords isKnown(bitWords(count));
    std::unordered_map<EntryId, Node*> known;
    const auto note = [&](Node& node) {
        setBit(isKnown, node.id);
        known.emplace(node.id, &node);
    };
    for (const auto& root : roots_)
        note(*root);
    // A parent has a lower id than its children, so one ascending pass goes all the way down.
    const FolderIds folders = index_.folderIds(count);
    for (EntryId id : folders.ids) {
        if (unresolved_ == 0)
            return;
        const std::optional<EntryId> parent = index_.parent(id);
        if (!parent || *parent >= id || !testBit(isKnown, *parent) ||
            (index_.flags(id) & EntryFlags::deleted) != 0)
            continue;
        const auto& siblings = known.find(*parent)->second->children;
        const auto found = siblings.find(index_.name(id));
        if (found == siblings.end())
            continue;
        found->second->id = id;
        note(*found->second);
        --unresolved_;
    }
}

std::vector<Visit> VisitTree::visits() {
    resolve();
    std::vector<Visit> out;
    for (const auto& root : roots_)
        collect(*root, out);
    return out;
}

/// The node is known and everything above it is open.
void VisitTree::collect(const Node& node, std::vector<Visit>& out) {
    if (node.isAsked)
        out.push_back({.folder = node.id, .isExact = true});
    for (const auto& [name, child] : node.children) {
        const Passage passage = child->id == noParent ? Passage::gone : examine(child->path);
        if (passage == Passage::open)
            collect(*child, out);
        else // one folder stands for whatever was asked for below it
            out.push_back({.folder = passage == Passage::gone ? node.id : child->id});
    }
}

} // namespace quarrydex
