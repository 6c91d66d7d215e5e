#include "QuarrydexCore/catalog/IndexError.h"

#include "QuarrydexCore/text/tr.h"

#include <system_error>
#include <utility>

namespace quarrydex {

namespace {

std::string reason(int error) {
    return std::generic_category().message(error);
}

} // namespace

IndexError IndexError::cannotOpen(std::string path, int error) {
    const std::string message = error == 0 ? tr("Cannot open “{path}”", {{"path", path}})
                                           : tr("Cannot open “{path}”: {reason}",
                                                {{"path", path}, {"reason", reason(error)}});
    return {Case::cannotOpen, std::move(path), message};
}

IndexError IndexError::cannotSave(std::string path, int error) {
    const std::string message = error == 0 ? tr("Cannot save “{path}”", {{"path", path}})
                                           : tr("Cannot save “{path}”: {reason}",
                                                {{"path", path}, {"reason", reason(error)}});
    return {Case::cannotSave, std::move(path), message};
}

IndexError IndexError::refusedPath(std::string path) {
    const std::string message =
        tr("Cannot save “{path}”: nothing is ever saved there", {{"path", path}});
    return {Case::refusedPath, std::move(path), message};
}

} // namespace quarrydex
