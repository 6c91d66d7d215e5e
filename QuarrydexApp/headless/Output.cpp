#include "QuarrydexApp/headless/Output.h"

#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexCore/text/tr.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace quarrydex {

void Output::flush() {
    std::string_view rest = buffer_;
    while (isOpen_ && !rest.empty()) {
        const ssize_t written = ::write(fd_, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            isOpen_ = false;
            error_ = errno == EPIPE ? 0 : errno;
        }
    }
    buffer_.clear();
}

bool Output::finish() {
    flush();
    if (error_ != 0)
        printError(tr("The output cannot be written: {reason}",
                      {{"reason", std::generic_category().message(error_)}}));
    return error_ == 0;
}

} // namespace quarrydex
