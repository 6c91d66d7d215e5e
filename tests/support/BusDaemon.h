/// A message bus of the test's own, without any services but those of the test. It runs as long as
/// the object.
/// Threads: one. Failure: an empty address.
#pragma once

#include "tests/support/Program.h"
#include "tests/support/TempTree.h"

#include <optional>
#include <string>

namespace quarrydex {

class BusDaemon {
  public:
    /// Why there can be none here; empty when it can.
    [[nodiscard]] static std::string lack() {
        return findProgram("dbus-daemon").empty() ? "dbus-daemon is missing" : "";
    }

    BusDaemon() {
        const std::string program = findProgram("dbus-daemon");
        if (program.empty())
            return;
        // Its socket goes with the tree.
        tree_.file("bus.conf",
                   "<!DOCTYPE busconfig PUBLIC "
                   "\"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                   " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                   "<busconfig><type>session</type><listen>unix:dir=" +
                       tree_.path() +
                       "</listen>\n"
                       "<auth>EXTERNAL</auth><policy context=\"default\"><allow own=\"*\"/>\n"
                       "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                       "<allow eavesdrop=\"true\"/>\n</policy></busconfig>\n");
        daemon_.emplace(program.c_str(),
                        std::vector<std::string>{"--config-file=" + tree_.path("bus.conf"),
                                                 "--print-address", "--nofork"},
                        Launch{.home = tree_.path()});
        address_ = daemon_->readLine().value_or("");
    }

    [[nodiscard]] const std::string& address() const { return address_; }

  private:
    TempTree tree_;
    std::optional<RunningProgram> daemon_;
    std::string address_;
};

} // namespace quarrydex
