#include "QuarrydexCore/catalog/IndexError.h"

#include <system_error>
#include <utility>

namespace quarrydex {

IndexError IndexError::cannotOpen(std::string path, int error) {
    std::string message = "Cannot open “" + path + "”";
    if (error != 0)
        message += ": " + std::generic_category().message(error);
    return {Case::cannotOpen, std::move(path), message};
}

} // namespace quarrydex
