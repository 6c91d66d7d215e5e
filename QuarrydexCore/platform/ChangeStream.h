/// The door to the system's reports of changed files.
///
/// A stream watches folder trees and reports which *folders* changed, never what happened in them:
/// the catalogue reads the folder again and sees for itself. Reports may come twice or needlessly;
/// none is left out without one that says so (see ChangeFlags).
///
/// Event ids rise over the life of a stream and over restarts of the program: they are nanoseconds
/// since 1970-01-01 UTC, moved up where the clock stood still or went back. What happened before an
/// id was given out has that id or a lower one in its report; eventSeconds() tells when that was.
///
/// History. A system that keeps one reports what changed since a stored id by itself. Where none is
/// kept, the stream asks the catalogue's owner to compare folder times (StreamOptions::sweep) once
/// it watches, reports the folders that differ under the id `since`, and then says historyDone.
/// Either way a change is reported by the history or by the live stream, or by both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

struct ChangeFlags {
    static constexpr std::uint32_t mustScanSubDirs = 0x01; ///< everything below may have changed
    static constexpr std::uint32_t userDropped = 0x02;     ///< reports were lost in this program
    static constexpr std::uint32_t kernelDropped = 0x04;   ///< reports were lost in the system
    static constexpr std::uint32_t historyDone = 0x10;     ///< what follows happens now
    static constexpr std::uint32_t rootChanged = 0x20; ///< a watched path names another folder, or
                                                       ///< none; nothing below it is reported now
    static constexpr std::uint32_t mount = 0x40;       ///< something was mounted on the folder
    static constexpr std::uint32_t unmount = 0x80;     ///< or was there, and is gone
};

struct ChangeEvent {
    std::string path; ///< of a folder, spelled below one of the watched paths
    std::uint32_t flags{};
    std::uint64_t id{};
};

/// Seconds since 1970-01-01 UTC at which an event id was given out.
[[nodiscard]] constexpr std::int64_t eventSeconds(std::uint64_t id) {
    return static_cast<std::int64_t>(id / 1'000'000'000);
}

enum class StreamKind : std::uint8_t {
    none,     ///< nothing is reported: compare folder times now and then
    inotify,  ///< a watch a folder
    fanotify, ///< one mark for a file system
};

struct StreamStatus {
    StreamKind kind{};
    std::uint64_t watchedFolders{}; ///< 0 where one mark covers them all
    std::uint64_t polledFolders{};  ///< not watched: their own times are compared now and then
    bool limitReached{};            ///< why some are polled: the user's watches ran out
    std::uint64_t watchLimit{};     ///< folders watched at most; 0 where one mark covers them all
    std::uint64_t overflows{};      ///< times that reports were lost
};

/// Examines every known folder: calls `enter` with its path before it looks, and `differs` if it
/// is not as known (`isReplaced`: nor is what it holds). `enter` is called on several threads,
/// `differs` on the caller's. Returns early when `mayGoOn` is false.
struct SweepCalls {
    std::function<void(const std::string& folder)> enter{};
    std::function<void(const std::string& folder, bool isReplaced)> differs{};
    std::function<bool()> mayGoOn{};
};

struct StreamOptions {
    std::vector<std::string> paths{};     ///< watched with everything below; none inside another
    std::vector<std::string> ignored{};   ///< folders that are not reported, nor what is below them
    std::optional<std::uint64_t> since{}; ///< report the history from here; absent: from now on
    std::function<void(const SweepCalls&)> sweep{}; ///< for streams without history; may be empty

    std::uint64_t latencyNs = 100'000'000;   ///< reports are gathered for so long
    std::size_t queuedBytes = 32ULL << 20;   ///< raw reports held at most; beyond, they are dropped
    std::optional<std::size_t> watchLimit{}; ///< absent: half of what the user may have
    std::optional<StreamKind> kind{};        ///< absent: the best one that works
};

/// Threads: start and stop by one thread; the rest by any. Destroying stops.
class ChangeStream {
  public:
    using Deliver = std::function<void(std::vector<ChangeEvent>)>;

    virtual ~ChangeStream() = default;

    /// Begins to watch, and to deliver batches in the order of their ids on a thread of its own.
    /// Once only.
    virtual void start(Deliver deliver) = 0;

    /// No delivery is running or begins after it returns. What takes long goes on elsewhere.
    /// Not from the delivery itself.
    virtual void stop() = 0;

    /// Returns when all that happened before the call has been delivered; at once before
    /// historyDone or after stop().
    virtual void flush() = 0;

    [[nodiscard]] virtual StreamStatus status() const = 0;

    /// False once a watched path does not name the folder that it named when the stream was opened:
    /// what stands there now says nothing about what the catalogue holds.
    [[nodiscard]] virtual bool rootsAreIntact() const = 0;
};

class ChangeStreams {
  public:
    virtual ~ChangeStreams() = default;

    /// The id of now: all that happens after the call is reported under a higher one.
    [[nodiscard]] virtual std::uint64_t currentEventId() const = 0;

    /// Tells whether a stored event id still means something for the folder at a path: equal texts
    /// do. At most 47 bytes; empty where changes cannot be watched.
    [[nodiscard]] virtual std::string historyIdentity(const std::string& path) const = 0;

    /// Never null; a stream of kind `none` only does the sweep.
    [[nodiscard]] virtual std::unique_ptr<ChangeStream> open(StreamOptions options) = 0;
};

} // namespace quarrydex
