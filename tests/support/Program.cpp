#include "tests/support/Program.h"

#include "tests/support/TempTree.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quarrydex {

namespace {

std::pair<Fd, Fd> makePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        std::abort();
    return {Fd(ends[0]), Fd(ends[1])};
}

/// A pseudo-terminal: what the program is given, and what reads from it.
std::pair<Fd, Fd> makeTerminal() {
    Fd reader(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64];
    if (::grantpt(reader.get()) != 0 || ::unlockpt(reader.get()) != 0 ||
        ::ptsname_r(reader.get(), name, sizeof name) != 0)
        std::abort();
    Fd shown(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    return {std::move(reader), std::move(shown)};
}

std::string readAll(Fd from) {
    std::string out;
    std::array<char, 65'536> buffer;
    for (ssize_t got; (got = ::read(from.get(), buffer.data(), buffer.size())) > 0;)
        out.append(buffer.data(), static_cast<std::size_t>(got));
    return out;
}

/// Longer than anything takes here, under a sanitizer and load too; no test hangs for ever.
constexpr int limitMs = 240'000;

/// False when nothing comes within the limit.
bool comes(int descriptor) {
    pollfd watched{descriptor, POLLIN, 0};
    return ::poll(&watched, 1, limitMs) != 0;
}

/// In the child: becomes the program.
[[noreturn]] void becomeProgram(const char* path,
                                const std::vector<std::string>& arguments,
                                const Launch& launch,
                                int in,
                                int out,
                                int err) {
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    if (launch.closedInput)
        ::close(STDIN_FILENO);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "HOME"})
        ::setenv(name, launch.home.c_str(), 1);
    for (const auto& [name, value] : launch.environment)
        ::setenv(name, value, 1);
    if (launch.asNobody && ::getuid() == 0 && (::setgid(65'534) != 0 || ::setuid(65'534) != 0))
        ::_exit(126);
    std::vector<char*> argv = {const_cast<char*>(path)};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(path, argv.data());
    ::_exit(127);
}

} // namespace

Outcome
runProgram(const char* path, const std::vector<std::string>& arguments, const Launch& wanted) {
    std::optional<TempTree> ownHome;
    Launch launch = wanted;
    if (launch.home.empty()) {
        ownHome.emplace();
        ownHome->chmod(".", 0777); // also for one who runs as nobody
        launch.home = ownHome->path();
    }
    auto [inRead, inWrite] = makePipe();
    auto [outRead, outWrite] = launch.terminal ? makeTerminal() : makePipe();
    auto [errRead, errWrite] = makePipe();
    if (launch.readerLeaves)
        outRead.reset();
    const pid_t child = ::fork();
    if (child == 0)
        becomeProgram(path, arguments, launch, inRead.get(), outWrite.get(), errWrite.get());
    inRead.reset();
    outWrite.reset();
    errWrite.reset();

    Outcome outcome;
    std::thread writer([&launch, to = std::move(inWrite)] {
        std::string_view rest = launch.input;
        for (ssize_t n; !rest.empty() && (n = ::write(to.get(), rest.data(), rest.size())) > 0;)
            rest.remove_prefix(static_cast<std::size_t>(n));
    });
    std::thread errors(
        [&, from = std::move(errRead)]() mutable { outcome.err = readAll(std::move(from)); });
    outcome.out = readAll(std::move(outRead));
    writer.join();
    errors.join();
    int status = 0;
    ::waitpid(child, &status, 0);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string findProgram(const std::string& name) {
    const char* folders = std::getenv("PATH");
    std::istringstream list(folders != nullptr ? folders : "");
    for (std::string folder; std::getline(list, folder, ':');)
        if (const std::string path = folder + "/" + name; ::access(path.c_str(), X_OK) == 0)
            return path;
    return "";
}

RunningProgram::RunningProgram(const char* path,
                               const std::vector<std::string>& arguments,
                               const Launch& launch) {
    auto [inRead, inWrite] = makePipe();
    auto [outRead, outWrite] = makePipe();
    child_ = ::fork();
    if (child_ == 0)
        becomeProgram(path, arguments, launch, inRead.get(), outWrite.get(), STDERR_FILENO);
    in_ = std::move(inWrite);
    out_ = std::move(outRead);
}

RunningProgram::~RunningProgram() {
    if (child_ > 0) {
        ::kill(child_, SIGKILL);
        wait();
    }
}

void RunningProgram::writeLine(const std::string& line) {
    const std::string text = line + '\n';
    if (::write(in_.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        std::abort();
}

std::optional<std::string> RunningProgram::readLine() {
    std::size_t end;
    while ((end = buffer_.find('\n')) == std::string::npos) {
        std::array<char, 4096> piece;
        if (!comes(out_.get()))
            return std::nullopt;
        const ssize_t got = ::read(out_.get(), piece.data(), piece.size());
        if (got <= 0)
            return std::nullopt;
        buffer_.append(piece.data(), static_cast<std::size_t>(got));
    }
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    return line;
}

void RunningProgram::signal(int number) {
    ::kill(child_, number);
}

int RunningProgram::wait() {
    const Fd end(static_cast<int>(::syscall(SYS_pidfd_open, child_, 0)));
    if (end && !comes(end.get()))
        ::kill(child_, SIGKILL);
    int status = 0;
    ::waitpid(child_, &status, 0);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace quarrydex
