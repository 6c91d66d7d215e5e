#include "QuarrydexApp/metadata/helper/Readers.h"

namespace quarrydex {

void readDocument(QIODevice&, const Wanted&, FilePreview&) {}

} // namespace quarrydex
