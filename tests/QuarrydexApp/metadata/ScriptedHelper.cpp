// Stands in for the program that reads files. What it does with a request stands in the request's
// path, after the last "/"; everything else is answered with what a test can tell it by: w counts
// the requests of this process, h is the process.
#include "QuarrydexApp/metadata/Protocol.h"

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include <unistd.h>

using namespace quarrydex;

namespace {

void say(std::string_view bytes) {
    if (::write(STDOUT_FILENO, bytes.data(), bytes.size()) < 0)
        std::_Exit(1);
}

void act(const protocol::Request& request, std::uint32_t count) {
    const std::string what = request.path.substr(request.path.rfind('/') + 1);
    protocol::Answer answer{.ticket = request.ticket, .found = {}};
    answer.found.meta = {.w = count, .h = static_cast<std::uint32_t>(::getpid())};
    if (what.starts_with("crash"))
        ::raise(SIGKILL);
    if (what.starts_with("hang"))
        ::pause();
    if (what == "leave")
        std::_Exit(0);
    if (what == "nonsense")
        say(std::string(64, '\0'));
    if (what == "endless")
        say(std::string(64, '\xFF'));
    if (what == "greeting")
        answer.ticket = 0;
    if (what == "another")
        answer.ticket += 1;
    if (what == "large") {
        answer.found.picture = QImage(request.limit + QSize(1, 1), QImage::Format_ARGB32);
        answer.found.picture.fill(Qt::red);
    }
    const std::string record = protocol::encode(answer);
    say(what == "twice" ? record + record : record);
}

} // namespace

int main() {
    protocol::RecordStream requests(protocol::largestRequest);
    say(protocol::encode(protocol::Answer{}));
    char bytes[4096];
    std::uint32_t count = 0;
    for (;;) {
        while (const auto record = requests.next())
            act(protocol::decodeRequest(*record).value(), ++count);
        const ssize_t n = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (n <= 0)
            return 0;
        requests.append({bytes, static_cast<std::size_t>(n)});
    }
}
