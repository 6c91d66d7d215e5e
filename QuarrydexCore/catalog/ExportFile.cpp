#include "QuarrydexCore/catalog/ExportFile.h"

#include "QuarrydexCore/catalog/IndexError.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include <cerrno>

namespace quarrydex {

void ExportFile::save(const std::string& path) const {
    const int result = fidx_export_file(path.c_str(), bytes.data(), bytes.size());
    if (result == fidx_refused)
        throw IndexError::refusedPath(path);
    if (result != fidx_ok)
        throw IndexError::cannotSave(path, errno);
}

} // namespace quarrydex
