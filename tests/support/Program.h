/// Runs a program as a user or a script would: with its own home folders, so that nothing of the
/// machine's settings and catalogues is seen or touched.
#pragma once

#include "QuarrydexCore/base/Fd.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace quarrydex {

struct Outcome {
    int status = -1; ///< exit status; -1 when killed
    std::string out;
    std::string err;
};

struct Launch {
    std::string input{};
    bool terminal = false;     ///< standard output is a terminal
    bool readerLeaves = false; ///< standard output is a pipe that nobody reads
    bool closedInput = false;
    bool asNobody = false; ///< without root's rights, when the test has them
    std::vector<std::pair<const char*, const char*>> environment{};
    std::string home{}; ///< holds data, settings and locks; empty: a new one, removed at the end
};

/// Runs the program to its end.
[[nodiscard]] Outcome
runProgram(const char* path, const std::vector<std::string>& arguments, const Launch& launch = {});

/// The path of a program that the machine has by this name; empty when it has none.
[[nodiscard]] std::string findProgram(const std::string& name);

/// A program that is still at work; killed if it is at the object's end. Its standard error goes
/// where the test's does. Launch::home must be given; input and terminal are not used.
class RunningProgram {
  public:
    RunningProgram(const char* path,
                   const std::vector<std::string>& arguments,
                   const Launch& launch);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    void writeLine(const std::string& line);

    /// The next line of its output, or nothing at the end of it, or when none comes for minutes.
    [[nodiscard]] std::optional<std::string> readLine();

    void signal(int number);

    /// Waits for its end. The exit status, -1 when killed, as it is when it does not end for
    /// minutes.
    int wait();

    [[nodiscard]] pid_t id() const { return child_; }

  private:
    pid_t child_ = -1;
    Fd in_;
    Fd out_;
    std::string buffer_;
};

} // namespace quarrydex
