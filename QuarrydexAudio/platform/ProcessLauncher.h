/// Other programs, run for what they print.
///
/// A program is started directly, never through a shell, in a process group of its own and with
/// nothing on its standard input; what it says on standard error is dropped. It cannot outstay its
/// time: at the limit, on a stop, or when it prints more than asked for, the whole group is killed.
///
/// Threads: any number of runs at once. Failure: a value of Ending; nothing throws.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

namespace quarrydex {

struct Command {
    std::string program;                ///< full path
    std::vector<std::string> arguments; ///< without the program's own name
    std::chrono::milliseconds limit{60'000};
    std::size_t maxOutput = std::size_t{1} << 20; ///< bytes of standard output
};

enum class Ending : std::uint8_t {
    exited,     ///< by itself, with a status
    killed,     ///< by a signal that did not come from here
    notStarted, ///< no such program, or no process to be had
    timedOut,
    stopped, ///< by the stop token
    tooMuch, ///< more output than asked for
};

struct ProcessOutcome {
    Ending ending = Ending::notStarted;
    int status = -1; ///< exit status, when it exited
    std::string out; ///< standard output, as far as it was read

    [[nodiscard]] bool succeeded() const { return ending == Ending::exited && status == 0; }
};

class ProcessLauncher {
  public:
    virtual ~ProcessLauncher() = default;

    /// Runs the program to its end. A token without a source is never stopped.
    [[nodiscard]] virtual ProcessOutcome run(const Command& command,
                                             std::stop_token stop) const = 0;
};

/// The launcher of the system this program was built for; lives as long as the process.
[[nodiscard]] const ProcessLauncher& systemProcessLauncher();

/// The folder of the running program, where helpers that it brings along would lie; empty when the
/// system does not tell.
[[nodiscard]] std::string programFolder();

} // namespace quarrydex
