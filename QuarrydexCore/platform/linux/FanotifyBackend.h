/// One mark for a whole file system: no memory and no time a folder. Needs CAP_SYS_ADMIN, and
/// CAP_DAC_READ_SEARCH to find the path of a folder.
///
/// Events name a folder by its handle. Which path that is now is asked once a round and folder,
/// through a descriptor of the root that is closed again at once: an open one would make unmounting
/// the drive fail, which a mark does not. A folder that no longer has a path is left out: the
/// folder it was in has an event of its own.
///
/// Not seen: writes to a file through another hard link of it, and through memory mappings.
///
/// Threads: as StreamBackend.
#pragma once

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/platform/linux/StreamBackend.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarrydex {

class FanotifyBackend final : public StreamBackend {
  public:
    /// Null when the privilege is missing, or a root's file system cannot be watched in this way.
    [[nodiscard]] static std::unique_ptr<FanotifyBackend> open(const ChangeBatch& scope);

    [[nodiscard]] int queue() const override { return queue_.get(); }

    void attach(ChangeBatch& /*out*/) override {} // open() did

    void enter(const std::string& /*folder*/) override {}

    void settle(std::span<const std::string> /*differing*/, ChangeBatch& /*out*/) override {}

    [[nodiscard]] bool translate(std::string_view bytes, ChangeBatch& out) override;
    void finishRound(ChangeBatch& out) override;
    void recover(ChangeBatch& out) override;

    void poll(ChangeBatch& /*out*/) override {}

    [[nodiscard]] StreamStatus status() const override;

  private:
    struct Root {
        std::string path;     ///< as the catalogue spells it
        std::string realPath; ///< without links
        std::uint64_t fileSystem{};
    };

    /// (file system, handle) → names of subfolders with the flags of their reports. The folder
    /// itself is always reported.
    using Handle = std::pair<std::uint64_t, std::string>;
    using Children = std::map<std::string, std::uint32_t>;

    FanotifyBackend(Fd queue, std::vector<Root> roots);

    /// `record` tells which folder and name the event is of.
    void translateOne(std::uint64_t mask, std::string_view record);
    void resolve(const Root& root, ChangeBatch& out) const;

    const Fd queue_;
    const std::vector<Root> roots_;
    std::map<Handle, Children> dirty_;
};

} // namespace quarrydex
