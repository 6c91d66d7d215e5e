/// Some files on their way to their default applications: each is asked for its application, and
/// those with the same one are handed over together, so that five songs make one list in one
/// player.
///
/// Threads: the main thread, with an event loop. Ownership: keeps itself while calls are under way.
/// Failure: one message in the user's language for all that could not be opened.
#pragma once

#include "QuarrydexApp/platform/FileOpener.h"
#include "QuarrydexApp/platform/linux/GioLoop.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace quarrydex {

/// The address of a file, every byte that is not plain ASCII written as %XX.
[[nodiscard]] std::string fileUri(const std::string& path);

class OpenRequest : public std::enable_shared_from_this<OpenRequest> {
  public:
    /// `loop` outlives the calls, or they are not answered.
    static void
    start(GioLoop& loop, const std::vector<std::string>& paths, FileOpener::Failed failed);

  private:
    struct Group {
        GlibPtr<GAppInfo> application;
        std::vector<std::string> uris;
    };

    struct Question;
    struct Handover;

    OpenRequest(GioLoop& loop, FileOpener::Failed failed);
    void ask(const std::string& path);
    void add(const std::string& path, GlibPtr<GAppInfo> application);
    void handOver();
    void handOver(Group& group);
    void note(const std::string& name, const GError& error, std::size_t files);
    void endCall();

    GioLoop& loop_;
    FileOpener::Failed failed_;
    std::vector<Group> groups_;
    std::size_t unanswered_ = 0;
    bool areHandedOver_ = false;
    std::size_t failures_ = 0;
    std::string message_; ///< of the first failure
};

} // namespace quarrydex
