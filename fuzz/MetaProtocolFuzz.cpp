/// Any bytes as what the program and its reader of files say to each other: a stream of them, in
/// pieces, and each as a single record. What is accepted must be within the bounds, and must come
/// back the same when it is said again.
#include "QuarrydexApp/metadata/Protocol.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

using namespace quarrydex;

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

void checkRequest(std::string_view record) {
    const auto request = protocol::decodeRequest(record);
    if (!request)
        return;
    require(request->ticket != 0 && !request->path.empty());
    require(request->path.find('\0') == std::string::npos);
    require(protocol::encode(*request) == record);
}

void checkAnswer(std::string_view record) {
    const auto answer = protocol::decodeAnswer(record);
    if (!answer)
        return;
    const FilePreview& found = answer->found;
    require(found.picture.width() <= protocol::mostPixels);
    require(found.picture.height() <= protocol::mostPixels);
    const auto again = protocol::decodeAnswer(protocol::encode(*answer));
    require(again && again->ticket == answer->ticket && again->found.meta == found.meta);
    require(again->found.picture == found.picture);
    // Bytes that are no UTF-8 have become longer by then, and the end may have been cut.
    require(found.text.startsWith(again->found.text));
}

/// With a length and a version that fit, so that every input gets past them.
std::string dressed(std::string_view bytes) {
    const auto length = static_cast<std::uint32_t>(bytes.size() + 1);
    std::string record(reinterpret_cast<const char*>(&length), sizeof length);
    record += static_cast<char>(protocol::version);
    return record.append(bytes);
}

void checkStream(std::string_view bytes, std::size_t piece) {
    protocol::RecordStream stream(protocol::largestRequest);
    std::string whole;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        stream.append(bytes.substr(at, piece));
        while (const auto record = stream.next()) {
            require(record->size() <= protocol::largestRequest);
            checkRequest(*record);
            checkAnswer(*record);
            whole += *record;
        }
    }
    require(bytes.starts_with(whole));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    checkStream(bytes, std::size_t{1} + data[0] % 64);
    checkRequest(dressed(bytes));
    checkAnswer(dressed(bytes));
    return 0;
}
