/// The program that looks into files for Quarrydex: requests on standard input, answers on standard
/// output, one after the other, until the input ends. See metadata/Protocol.h.
#include "QuarrydexApp/metadata/Protocol.h"
#include "QuarrydexApp/metadata/helper/Confinement.h"
#include "QuarrydexApp/metadata/helper/FileFormat.h"
#include "QuarrydexApp/metadata/helper/ForeignFile.h"
#include "QuarrydexApp/metadata/helper/Readers.h"

#include <QGuiApplication>

#include <cerrno>
#include <exception>

#include <unistd.h>

namespace quarrydex {

namespace {

/// Twice the patience of who asks: for the case that nobody looks at the clock any more.
constexpr unsigned mostProcessorSeconds = 10;

void readContents(ForeignFile& file, const protocol::Request& request, FilePreview& to) {
    const bool isPreview = request.kind == protocol::Kind::preview;
    const Wanted wanted{.picture = isPreview, .limit = request.limit};
    const FileFormat format = formatOf(file.head(formatBytes), request.path);
    switch (format.reader) {
    case FileReader::picture:
        readPicture(file.device(), format.name, wanted, to);
        break;
    case FileReader::document:
        readDocument(file.device(), wanted, to);
        break;
    case FileReader::media:
        readMedia(file.device().handle(), format.name, wanted, to);
        break;
    case FileReader::none:
        break;
    }
    // A text may begin like something else.
    const FileMeta unknown{.atime = to.meta.atime};
    if (isPreview && to.picture.isNull() && to.meta == unknown)
        to.text = textOf(file.head(textBytes)).value_or(QString());
}

FilePreview look(const protocol::Request& request) {
    FilePreview found;
    try {
        ForeignFile file(request.path);
        found.meta.atime = file.atime();
        if (file.isReadable())
            readContents(file, request, found);
    } catch (const std::exception&) {
        // Out of memory, most likely: what was found out so far is the answer.
    }
    return found;
}

bool writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (n > 0)
            bytes.remove_prefix(static_cast<std::size_t>(n));
        else if (errno != EINTR)
            return false;
    }
    return true;
}

/// Reads on; false at the end of the input.
bool readMore(protocol::RecordStream& to) {
    char bytes[4'096];
    ssize_t n;
    do {
        n = ::read(STDIN_FILENO, bytes, sizeof bytes);
    } while (n < 0 && errno == EINTR);
    if (n <= 0)
        return false;
    to.append({bytes, static_cast<std::size_t>(n)});
    return true;
}

/// The exit status: 1 when what was asked makes no sense.
int serve() {
    protocol::RecordStream requests(protocol::largestRequest);
    if (!writeAll(protocol::encode(protocol::Answer{})))
        return 0;
    do {
        while (const auto record = requests.next()) {
            const auto request = protocol::decodeRequest(*record);
            if (!request)
                return 1;
            allowProcessorTime(mostProcessorSeconds);
            const protocol::Answer answer{.ticket = request->ticket, .found = look(*request)};
            if (!writeAll(protocol::encode(answer)))
                return 0;
        }
    } while (!requests.isBroken() && readMore(requests));
    return requests.isBroken() ? 1 : 0;
}

} // namespace

} // namespace quarrydex

int main(int argc, char** argv) {
    quarrydex::confine();
    // Drawings with letters need fonts, but no display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("DISPLAY");
    const QGuiApplication application(argc, argv);
    return quarrydex::serve();
}
