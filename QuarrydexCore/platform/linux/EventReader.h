/// Empties a kernel event queue into memory, on a thread that does nothing else: the queue holds
/// some 16,000 events, and listing one slow folder in between could let it run over.
///
/// Threads: any. Failure: beyond `limit` bytes everything read is dropped and said so.
#pragma once

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Mutex.h"

#include <cstddef>
#include <functional>
#include <string>
#include <thread>

namespace quarrydex {

class EventReader {
  public:
    struct Batch {
        std::string bytes; ///< whole events, as the kernel writes them
        bool wasDropped{}; ///< some are missing
    };

    /// `queue` is a non-blocking descriptor that outlives the reader. `arrived` is called on the
    /// reader's thread whenever there is something to take.
    EventReader(int queue, std::size_t limit, std::function<void()> arrived);
    ~EventReader();
    EventReader(const EventReader&) = delete;
    EventReader& operator=(const EventReader&) = delete;

    /// Everything read since the last call.
    [[nodiscard]] Batch take();

    /// Returns when everything that was in the queue at the call can be taken.
    void sync();

  private:
    void run();
    bool drain();

    const int queue_;
    const std::size_t limit_;
    const std::function<void()> arrived_;
    const Fd wake_; ///< readable when the reader is to end

    Mutex lock_; ///< held while reading, so that events stay in order
    Batch batch_ QDX_GUARDED_BY(lock_);
    std::thread thread_;
};

} // namespace quarrydex
