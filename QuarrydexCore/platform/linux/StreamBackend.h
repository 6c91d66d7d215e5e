/// What the streams of this system do differently: how a tree is watched, and how raw events become
/// changed folders. Everything else is LinuxStream's.
///
/// Threads: called on the stream's own thread, except where said.
#pragma once

#include "QuarrydexCore/platform/ChangeStream.h"
#include "QuarrydexCore/platform/linux/ChangeBatch.h"

#include <span>
#include <string>
#include <string_view>

namespace quarrydex {

class StreamBackend {
  public:
    virtual ~StreamBackend() = default;

    /// The kernel's queue: non-blocking, read by another thread.
    [[nodiscard]] virtual int queue() const = 0;

    /// Watches everything below the roots.
    virtual void attach(ChangeBatch& out) = 0;

    /// Instead of attach, for each folder that the catalogue knows. Any thread.
    virtual void enter(const std::string& folder) = 0;

    /// After the last enter: watches what is new in these folders.
    virtual void settle(std::span<const std::string> differing, ChangeBatch& out) = 0;

    /// Takes raw events over. Returns false when one says that others were lost.
    [[nodiscard]] virtual bool translate(std::string_view bytes, ChangeBatch& out) = 0;

    /// After one or more translate: reports what takes more than reading the events.
    virtual void finishRound(ChangeBatch& out) = 0;

    /// Instead of finishRound when events were lost: nothing known of the tree is relied on.
    virtual void recover(ChangeBatch& out) = 0;

    /// Looks at what is not watched.
    virtual void poll(ChangeBatch& out) = 0;

    /// Any thread; `overflows` is not the backend's.
    [[nodiscard]] virtual StreamStatus status() const = 0;
};

} // namespace quarrydex
