#include "QuarrydexApp/metadata/helper/Readers.h"

namespace quarrydex {

void readMedia(int, const char*, const Wanted&, FilePreview&) {}

} // namespace quarrydex
