#include "QuarrydexApp/Delegate.h"
#include "QuarrydexApp/headless/CommandLine.h"
#include "QuarrydexApp/headless/Headless.h"
#include "QuarrydexApp/headless/Session.h"
#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexCore/platform/Platform.h"

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Puts the null device where a standard stream is closed: no file opened later may take its place.
/// Read-only, so that output to a closed stream still fails.
void holdStandardStreams() {
    int fd = ::open("/dev/null", O_RDONLY);
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = ::open("/dev/null", O_RDONLY);
    ::close(fd);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what nobody expects ends the program with a message
int main(int argc, char** argv) {
    using namespace quarrydex;
    const std::uint64_t startNs = systemPlatform().clock.monotonicNs();
    holdStandardStreams();
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away ends the output, not the program
    const int arguments = std::max(argc - 1, 0); // argc may be 0
    auto options = parseCommandLine({argv + argc - arguments, argv + argc});
    if (const auto* error = std::get_if<CommandLineError>(&options)) {
        printError(error->message);
        return static_cast<int>(ExitStatus::error);
    }
    auto& chosen = std::get<Options>(options);
    chosen.startNs = startNs;
    if (chosen.mode == Options::Mode::none && canShowWindows(chosen))
        return runWindows(chosen, argc, argv);
    return runHeadless(chosen, argc, argv);
}
