#include "QuarrydexApp/headless/ProgressLine.h"

#include "QuarrydexCore/base/Fd.h"

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace quarrydex {
namespace {

/// While it lives, standard error is a terminal, or something else, that a test reads.
class OtherStandardError {
  public:
    explicit OtherStandardError(bool isTerminal) : kept_(::dup(STDERR_FILENO)) {
        int ends[2] = {-1, -1};
        if (isTerminal) {
            ends[0] = ::posix_openpt(O_RDWR | O_NOCTTY);
            char name[64];
            if (::grantpt(ends[0]) != 0 || ::unlockpt(ends[0]) != 0 ||
                ::ptsname_r(ends[0], name, sizeof name) != 0)
                std::abort();
            ends[1] = ::open(name, O_RDWR | O_NOCTTY);
        } else if (::pipe(ends) != 0) {
            std::abort();
        }
        read_ = Fd(ends[0]);
        ::dup2(Fd(ends[1]).get(), STDERR_FILENO);
    }

    ~OtherStandardError() { ::dup2(kept_.get(), STDERR_FILENO); }

    OtherStandardError(const OtherStandardError&) = delete;
    OtherStandardError& operator=(const OtherStandardError&) = delete;

    [[nodiscard]] std::string written() const {
        std::string out;
        char buffer[256];
        for (pollfd ready{read_.get(), POLLIN, 0}; ::poll(&ready, 1, 0) > 0;)
            out.append(buffer,
                       static_cast<std::size_t>(::read(read_.get(), buffer, sizeof buffer)));
        return out;
    }

  private:
    Fd kept_;
    Fd read_;
};

TEST(ProgressLineTest, LongWaitsAreToldOnATerminalAndLeaveNothingBehind) {
    const OtherStandardError terminal(true);
    {
        ProgressLine line;
        line.show("too early");
        line.clear();
        EXPECT_EQ(terminal.written(), "");
        std::string first;
        while ((first = terminal.written()).empty())
            line.show("some\x1B[2J");
        EXPECT_EQ(first, "\r\x1B[Ksome\\x1b[2J");
        line.show("too soon after it");
        EXPECT_EQ(terminal.written(), "");
    }
    EXPECT_EQ(terminal.written(), "\r\x1B[K");
}

TEST(ProgressLineTest, NothingIsToldInAPipe) {
    const OtherStandardError pipe(false);
    ProgressLine onPipe;
    const OtherStandardError terminal(true);
    ProgressLine onTerminal;
    while (terminal.written().empty()) { // both have waited long enough
        onTerminal.show("here");
        onPipe.show("there");
    }
    onPipe.clear();
    EXPECT_EQ(terminal.written(), "");
    EXPECT_EQ(pipe.written(), "");
}

} // namespace
} // namespace quarrydex
