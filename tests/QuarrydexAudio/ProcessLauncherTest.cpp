/// Real programs under the system's launcher. The limits below are limits of patience: no test
/// waits for one of them to pass unless passing it is what is tested.
#include "QuarrydexAudio/platform/ProcessLauncher.h"

#include "tests/support/TempTree.h"

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

namespace quarrydex {
namespace {

using namespace std::chrono_literals;

ProcessOutcome run(Command command, std::stop_token stop = {}) {
    return systemProcessLauncher().run(command, std::move(stop));
}

/// Runs a script; its arguments arrive as "$1", "$2", ….
ProcessOutcome shell(const std::string& script, std::vector<std::string> arguments = {}) {
    std::vector<std::string> all = {"-c", script, "sh"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run({.program = "/bin/sh", .arguments = all});
}

/// A file that a process holds locked as long as it lives.
struct Lifeline {
    TempTree tree;
    std::string path = tree.path("lock");

    Lifeline() { tree.file("lock"); }

    /// Returns once nobody holds the lock, or fails after half a minute.
    void expectReleased() const {
        const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        const auto end = std::chrono::steady_clock::now() + 30s;
        while (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "a process lives on";
            std::this_thread::yield();
        }
    }
};

TEST(ProcessLauncherTest, DeliversOutputStatusAndArgumentsAsTheyAre) {
    const ProcessOutcome plain = shell("printf 'a\\nb'; echo lost >&2; exit 3");
    EXPECT_EQ(plain.ending, Ending::exited);
    EXPECT_EQ(plain.status, 3);
    EXPECT_FALSE(plain.succeeded());
    EXPECT_EQ(plain.out, "a\nb");

    const std::string odd = "a b\n\"$(touch /tmp/x)'; *\xFF";
    EXPECT_EQ(shell("printf %s \"$1|$2\"", {odd, ""}).out, odd + "|");
    EXPECT_EQ(shell("cat").out, "") << "standard input is empty";
}

TEST(ProcessLauncherTest, WhatCannotBeRunIsNotStarted) {
    TempTree tree;
    tree.file("text", std::string_view("no program"));
    for (const std::string& program : {tree.path("missing"), tree.path("text"), tree.path()})
        EXPECT_EQ(run({.program = program, .arguments = {}}).ending, Ending::notStarted);
}

TEST(ProcessLauncherTest, AtTheLimitTheWholeGroupIsKilled) {
    const Lifeline lifeline;
    // A child of the child holds the lock and the output pipe.
    const ProcessOutcome outcome = run(
        {.program = "/bin/sh",
         .arguments = {"-c", "flock -x \"$1\" sleep 600 & echo begun; wait", "sh", lifeline.path},
         .limit = 300ms});
    EXPECT_EQ(outcome.ending, Ending::timedOut);
    lifeline.expectReleased();
}

TEST(ProcessLauncherTest, StoppedFromAnotherThreadItEndsAtOnce) {
    const Lifeline lifeline;
    std::stop_source stop;
    std::thread stopper([&] {
        // Stop only when the program is surely under way: it holds the lock.
        const Fd fd(::open(lifeline.path.c_str(), O_RDONLY | O_CLOEXEC));
        while (::flock(fd.get(), LOCK_SH | LOCK_NB) == 0) {
            ::flock(fd.get(), LOCK_UN);
            std::this_thread::yield();
        }
        stop.request_stop();
    });
    const ProcessOutcome outcome = run({.program = "/bin/sh",
                                        .arguments = {"-c",
                                                      "trap '' TERM INT; exec flock -x \"$1\" "
                                                      "sleep 600",
                                                      "sh", lifeline.path},
                                        .limit = 120s},
                                       stop.get_token());
    stopper.join();
    EXPECT_EQ(outcome.ending, Ending::stopped);
    lifeline.expectReleased();
    EXPECT_EQ(run({.program = "/bin/true", .arguments = {}}, stop.get_token()).ending,
              Ending::stopped);
}

TEST(ProcessLauncherTest, EndlessOutputIsCutOff) {
    const ProcessOutcome outcome = run({.program = "/bin/sh",
                                        .arguments = {"-c", "exec yes"},
                                        .limit = 120s,
                                        .maxOutput = 100'000});
    EXPECT_EQ(outcome.ending, Ending::tooMuch);
    EXPECT_LE(outcome.out.size(), 100'000U);

    const ProcessOutcome exact = run({.program = "/bin/sh",
                                      .arguments = {"-c", "head -c 100000 /dev/zero"},
                                      .limit = 120s,
                                      .maxOutput = 100'000});
    EXPECT_EQ(exact.ending, Ending::exited);
    EXPECT_EQ(exact.out.size(), 100'000U);
}

TEST(ProcessLauncherTest, AHelperThatKeepsTheOutputOpenIsNotWaitedFor) {
    const Lifeline lifeline;
    const ProcessOutcome outcome =
        run({.program = "/bin/sh",
             .arguments = {"-c", "flock -x \"$1\" sleep 600 & echo done", "sh", lifeline.path},
             .limit = 120s});
    EXPECT_EQ(outcome.ending, Ending::exited);
    EXPECT_EQ(outcome.out, "done\n");
    lifeline.expectReleased();
}

TEST(ProcessLauncherTest, NothingIsHandedOnToTheProgram) {
    const Fd secret(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    int inherited = 0; // what whoever started the test left open
    for (int fd = 3; fd < 1024; ++fd) {
        const int flags = ::fcntl(fd, F_GETFD);
        inherited += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    // The three streams, and the folder that is being listed.
    EXPECT_EQ(shell("ls /proc/self/fd | wc -l | tr -d ' '").out,
              std::to_string(4 + inherited) + "\n");
    std::signal(SIGPIPE, SIG_IGN);
    const ProcessOutcome outcome = shell("kill -PIPE $$; echo survived");
    std::signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(outcome.ending, Ending::killed) << "signals are as in a fresh session";
    EXPECT_FALSE(outcome.succeeded());
}

TEST(ProcessLauncherTest, ManyRunsAtOnceKeepTheirOutputApart) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([i] {
            for (int round = 0; round < 5; ++round) {
                const std::string text = std::to_string(i * 100 + round);
                EXPECT_EQ(shell("printf %s \"$1\"", {text}).out, text);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
} // namespace quarrydex
