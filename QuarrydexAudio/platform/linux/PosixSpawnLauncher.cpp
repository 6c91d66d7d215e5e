/// Programs by posix_spawn, watched through their output pipe and a descriptor of the process.
#include "QuarrydexAudio/platform/ProcessLauncher.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quarrydex {

namespace {

using Clock = std::chrono::steady_clock;

/// What posix_spawn is told besides the program: streams, group and signals.
class Surroundings {
  public:
    explicit Surroundings(int out) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, out, 1);
        ::posix_spawn_file_actions_addopen(&actions_, 2, "/dev/null", O_WRONLY, 0);

        sigset_t signals;
        ::posix_spawnattr_init(&attributes_);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                     POSIX_SPAWN_SETSIGDEF);
    }

    ~Surroundings() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    /// The process, or nothing.
    [[nodiscard]] std::optional<pid_t> start(const Command& command) const {
        std::vector<char*> argv{const_cast<char*>(command.program.c_str())};
        for (const std::string& argument : command.arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        pid_t child = -1;
        if (::posix_spawn(&child, argv[0], &actions_, &attributes_, argv.data(), environ) != 0)
            return std::nullopt;
        return child;
    }

  private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

/// A process that was started, until it is gone.
class Child {
  public:
    Child(pid_t id, Fd out)
        : id_(id), process_(static_cast<int>(::syscall(SYS_pidfd_open, id, 0))),
          wake_(::eventfd(0, EFD_CLOEXEC)), out_(std::move(out)) {}

    /// Reads until the process has ended by itself, or says why that is not waited for. Without
    /// the descriptors to wait on, it is not.
    [[nodiscard]] Ending
    watch(const Command& command, const std::stop_token& stop, std::string& to) {
        if (!process_ || !wake_)
            return Ending::notStarted;
        const Clock::time_point end = Clock::now() + command.limit;
        const std::stop_callback waker(stop, [this] { ::eventfd_write(wake_.get(), 1); });
        for (;;) {
            if (stop.stop_requested())
                return Ending::stopped;
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
            if (left.count() <= 0)
                return Ending::timedOut;
            // A closed pipe is no longer waited on: poll ignores a negative descriptor.
            std::array<pollfd, 3> events{
                {{out_.get(), POLLIN, 0}, {process_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}}};
            ::poll(events.data(), events.size(),
                   static_cast<int>(std::min<long>(left.count(), INT_MAX)));
            const bool hasEnded = events[1].revents != 0;
            if (!drain(command.maxOutput, to))
                return Ending::tooMuch;
            if (hasEnded)
                return Ending::exited;
        }
    }

    /// Kills what is left of the group and takes the status. The group keeps its number until
    /// then, so nobody else's can be hit.
    [[nodiscard]] std::optional<int> finish() {
        ::kill(-id_, SIGKILL);
        // A process that hangs in the kernel cannot be killed; it is left behind.
        constexpr int patienceMs = 2000;
        pollfd ended{process_.get(), POLLIN, 0};
        if (process_ && ::poll(&ended, 1, patienceMs) == 0)
            return std::nullopt;
        int status = 0;
        pid_t got;
        do {
            got = ::waitpid(id_, &status, 0);
        } while (got < 0 && errno == EINTR);
        return got == id_ ? std::optional(status) : std::nullopt;
    }

  private:
    /// Takes what the pipe holds. False when it is more than `max` bytes in all.
    [[nodiscard]] bool drain(std::size_t max, std::string& to) {
        std::array<char, 16384> piece;
        while (out_) {
            const ssize_t n = ::read(out_.get(), piece.data(), piece.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0 && errno == EAGAIN)
                return true;
            if (n <= 0) {
                out_.reset();
                return true;
            }
            const auto count = static_cast<std::size_t>(n);
            if (count > max - to.size())
                return false;
            to.append(piece.data(), count);
        }
        return true;
    }

    pid_t id_;
    Fd process_; ///< readable once the process has ended
    Fd wake_;    ///< readable once it is to be stopped
    Fd out_;     ///< non-blocking
};

class PosixSpawnLauncher final : public ProcessLauncher {
  public:
    [[nodiscard]] ProcessOutcome run(const Command& command, std::stop_token stop) const override {
        int pipe[2];
        if (stop.stop_requested())
            return {.ending = Ending::stopped, .status = -1, .out = {}};
        if (::pipe2(pipe, O_CLOEXEC) != 0)
            return {};
        Fd out(pipe[0]);
        Fd in(pipe[1]);
        ::fcntl(out.get(), F_SETFL, O_NONBLOCK);
        const std::optional<pid_t> id = Surroundings(in.get()).start(command);
        in.reset();
        if (!id)
            return {};

        ProcessOutcome outcome;
        Child child(*id, std::move(out));
        outcome.ending = child.watch(command, stop, outcome.out);
        const std::optional<int> status = child.finish();
        if (outcome.ending == Ending::exited) {
            if (status && WIFEXITED(*status))
                outcome.status = WEXITSTATUS(*status);
            else
                outcome.ending = Ending::killed;
        }
        return outcome;
    }
};

} // namespace

const ProcessLauncher& systemProcessLauncher() {
    static const PosixSpawnLauncher launcher;
    return launcher;
}

std::string programFolder() {
    std::string path(PATH_MAX, '\0');
    const ssize_t n = ::readlink("/proc/self/exe", path.data(), path.size());
    if (n <= 0)
        return {};
    path.resize(static_cast<std::size_t>(n));
    return folderOf(path);
}

} // namespace quarrydex
