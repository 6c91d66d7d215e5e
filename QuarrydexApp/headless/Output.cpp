#include "QuarrydexApp/headless/Output.h"

#include <cerrno>

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

} // namespace quarrydex
