/// An X server without a screen that anyone sees, and a hand at its keyboard. It runs as long as
/// the object. Threads: one. Failure: programs that are given its name do not start.
#pragma once

#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

class XServer {
  public:
    /// Why there can be none here; empty when it can.
    [[nodiscard]] static std::string lack() {
        for (const char* name : {"Xvfb", "xdotool"})
            if (findProgram(name).empty())
                return std::string(name) + " is missing";
        return "";
    }

    /// How keys that are held repeat: nobody knows how long a key of a test is held.
    enum class Repeat : std::uint8_t { never, atOnce };

    explicit XServer(Repeat repeat) {
        std::vector<std::string> arguments = {"-displayfd",  "1",         "-screen", "0",
                                              "1280x800x24", "-nolisten", "tcp",     "-noreset"};
        if (repeat == Repeat::atOnce)
            arguments.insert(arguments.end(), {"-ardelay", "1", "-arinterval", "1"});
        else
            arguments.push_back("-r");
        server_.emplace(findProgram("Xvfb").c_str(), arguments, Launch{.home = tree_.path()});
        name_ = ":" + server_->readLine().value_or("none");
    }

    /// As in the variable DISPLAY.
    [[nodiscard]] const char* name() const { return name_.c_str(); }

    /// What xdotool does with these words. Ends when the server has taken it all.
    [[nodiscard]] Outcome ask(const std::vector<std::string>& words) const {
        return runProgram(findProgram("xdotool").c_str(), words,
                          {.environment = {{"DISPLAY", name()}}});
    }

    /// The same, of what always succeeds.
    void type(const std::vector<std::string>& words) const {
        const Outcome done = ask(words);
        EXPECT_EQ(done.status, 0) << done.err;
    }

  private:
    TempTree tree_;
    std::optional<RunningProgram> server_;
    std::string name_;
};

} // namespace quarrydex
