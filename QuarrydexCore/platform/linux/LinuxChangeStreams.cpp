#include "QuarrydexCore/platform/linux/LinuxChangeStreams.h"

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/linux/FanotifyBackend.h"
#include "QuarrydexCore/platform/linux/InotifyBackend.h"
#include "QuarrydexCore/platform/linux/LinuxStream.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <sys/eventfd.h>

namespace quarrydex {

namespace {

/// Raised when what is watched changes so much that older ids say too little.
constexpr int schemeVersion = 1;

/// Reports nothing.
class NoBackend final : public StreamBackend {
  public:
    [[nodiscard]] int queue() const override { return queue_.get(); }

    void attach(ChangeBatch& /*out*/) override {}

    void enter(const std::string& /*folder*/) override {}

    void settle(std::span<const std::string> /*differing*/, ChangeBatch& /*out*/) override {}

    [[nodiscard]] bool translate(std::string_view /*bytes*/, ChangeBatch& /*out*/) override {
        return true;
    }

    void finishRound(ChangeBatch& /*out*/) override {}

    void recover(ChangeBatch& /*out*/) override {}

    void poll(ChangeBatch& /*out*/) override {}

    [[nodiscard]] StreamStatus status() const override { return {}; }

  private:
    const Fd queue_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

/// What users of a stream hold. The stream itself is destroyed on the closing queue.
class StreamHandle final : public ChangeStream {
  public:
    StreamHandle(std::shared_ptr<LinuxStream> stream, SerialQueue& closing)
        : stream_(std::move(stream)), closing_(closing) {}

    ~StreamHandle() override {
        stop();
        closing_.post([stream = std::move(stream_)] {});
    }

    StreamHandle(const StreamHandle&) = delete;
    StreamHandle& operator=(const StreamHandle&) = delete;

    void start(Deliver deliver) override { stream_->start(std::move(deliver)); }

    void stop() override { stream_->silence(); }

    void flush() override { stream_->flush(); }

    [[nodiscard]] StreamStatus status() const override { return stream_->status(); }

    [[nodiscard]] bool rootsAreIntact() const override { return stream_->rootsAreIntact(); }

  private:
    std::shared_ptr<LinuxStream> stream_;
    SerialQueue& closing_;
};

void stripSlashes(std::vector<std::string>& paths) {
    for (std::string& path : paths)
        path.resize(withoutEndSlashes(path).size());
}

/// FNV-1a.
std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

} // namespace

LinuxChangeStreams::LinuxChangeStreams(MountTable& mounts, const VolumeInfo& volumes)
    : mounts_(mounts), volumes_(volumes),
      budget_(std::make_shared<WatchBudget>(WatchBudget::systemLimit())) {}

std::uint64_t LinuxChangeStreams::currentEventId() const {
    return ids_.next();
}

/// The root's birth tells a folder made anew under the old inode; no time of the file system itself
/// enters, since that would not outlive a restart.
std::string LinuxChangeStreams::historyIdentity(const std::string& path) const {
    const std::optional<FileIdentity> root = volumes_.identity(path);
    if (!root || !tellsOfChanges(path))
        return {};
    const std::string text = volumes_.uuid(path).value_or("") + "/" + std::to_string(root->inode) +
                             "/" + std::to_string(root->birthTimeNs);
    char identity[32];
    std::snprintf(identity, sizeof identity, "%d-%016" PRIX64, schemeVersion, hashOf(text));
    return identity;
}

/// By the mount that the path lies on; asks the file system nothing but the path's spelling.
bool LinuxChangeStreams::tellsOfChanges(const std::string& path) const {
    char* resolved = ::realpath(path.c_str(), nullptr);
    const std::string real = resolved != nullptr ? resolved : path;
    std::free(resolved);
    const std::vector<Mount> mounts = mounts_.mounts();
    const Mount* best = nullptr;
    for (const Mount& mount : mounts)
        if (isWithin(real, mount.path) &&
            (best == nullptr || mount.path.size() >= best->path.size()))
            best = &mount;
    return best == nullptr || !(best->isNetwork || best->fsType.starts_with("fuse."));
}

std::unique_ptr<StreamBackend> LinuxChangeStreams::backendFor(const StreamOptions& options) const {
    const ChangeBatch scope(options.paths, options.ignored);
    const auto mayBe = [&](StreamKind kind) { return !options.kind || options.kind == kind; };
    const bool isTold = std::all_of(options.paths.begin(), options.paths.end(),
                                    [&](const std::string& path) { return tellsOfChanges(path); });
    if (isTold && mayBe(StreamKind::fanotify))
        if (auto backend = FanotifyBackend::open(scope))
            return backend;
    const auto budget =
        options.watchLimit ? std::make_shared<WatchBudget>(*options.watchLimit) : budget_;
    if (isTold && mayBe(StreamKind::inotify))
        if (auto backend = InotifyBackend::open(scope, budget))
            return backend;
    return std::make_unique<NoBackend>();
}

std::unique_ptr<ChangeStream> LinuxChangeStreams::open(StreamOptions options) {
    stripSlashes(options.paths);
    stripSlashes(options.ignored);
    auto backend = backendFor(options);
    auto stream =
        std::make_shared<LinuxStream>(std::move(options), std::move(backend), ids_, mounts_);
    return std::make_unique<StreamHandle>(std::move(stream), closing_);
}

} // namespace quarrydex
