#include "QuarrydexCore/catalog/IndexError.h"

#include <system_error>
#include <utility>

namespace quarrydex {

namespace {

/// "Cannot open “/x”: No such file or directory"
std::string failed(const char* what, const std::string& path, int error) {
    std::string message = std::string("Cannot ") + what + " “" + path + "”";
    if (error != 0)
        message += ": " + std::generic_category().message(error);
    return message;
}

} // namespace

IndexError IndexError::cannotOpen(std::string path, int error) {
    const std::string message = failed("open", path, error);
    return {Case::cannotOpen, std::move(path), message};
}

IndexError IndexError::cannotSave(std::string path, int error) {
    const std::string message = failed("save", path, error);
    return {Case::cannotSave, std::move(path), message};
}

IndexError IndexError::refusedPath(std::string path) {
    const std::string message = failed("save", path, 0) + ": nothing is ever saved there";
    return {Case::refusedPath, std::move(path), message};
}

} // namespace quarrydex
