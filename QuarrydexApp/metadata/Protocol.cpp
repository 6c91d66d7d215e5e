#include "QuarrydexApp/metadata/Protocol.h"

#include "QuarrydexCore/base/Bytes.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace quarrydex::protocol {

namespace {

constexpr std::size_t lengthBytes = 4;
constexpr std::uint8_t knowsAtime = 1;

/// No file was last opened outside the years that a date is shown for.
constexpr std::int64_t latestTime = 253'402'300'799;   ///< the end of 9999
constexpr std::int64_t earliestTime = -62'135'596'800; ///< the beginning of the year 1

template <typename T> void put(std::string& to, T value) {
    char bytes[sizeof value];
    storeLE(bytes, value);
    to.append(bytes, sizeof bytes);
}

template <typename T> T get(std::string_view record, std::size_t offset) {
    return loadLE<T>(record.data() + offset);
}

/// True when the length at the record's beginning is that of the record, and the version ours.
bool fits(std::string_view record, std::size_t head, std::size_t largest) {
    return record.size() >= head && record.size() <= largest &&
           get<std::uint32_t>(record, 0) == record.size() - lengthBytes &&
           get<std::uint8_t>(record, 4) == version;
}

void begin(std::string& record, std::uint8_t byte5, QSize size, std::uint64_t ticket) {
    put(record, std::uint32_t{0});
    put(record, version);
    put(record, byte5);
    put(record, static_cast<std::uint16_t>(size.width()));
    put(record, static_cast<std::uint16_t>(size.height()));
    put(record, ticket);
}

std::string finished(std::string record) {
    storeLE(record.data(), static_cast<std::uint32_t>(record.size() - lengthBytes));
    return record;
}

QSize sizeIn(std::string_view record) {
    return {get<std::uint16_t>(record, 6), get<std::uint16_t>(record, 8)};
}

bool isWithinBounds(QSize size) {
    return size.width() <= mostPixels && size.height() <= mostPixels;
}

/// The longest beginning that is no longer and ends with a whole character.
QByteArray cut(QByteArray text, qsizetype most) {
    if (text.size() <= most)
        return text;
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80)
        --most;
    text.truncate(most);
    return text;
}

std::size_t pictureBytes(QSize size) {
    return std::size_t{4} * static_cast<std::size_t>(size.width()) *
           static_cast<std::size_t>(size.height());
}

/// REQUIRES: as many bytes as the size says.
QImage pictureOf(QSize size, std::string_view bytes) {
    if (bytes.empty())
        return {};
    QImage picture(size, QImage::Format_ARGB32_Premultiplied);
    const auto row = static_cast<std::size_t>(size.width()) * 4;
    for (int y = 0; y < picture.height(); ++y)
        std::memcpy(picture.scanLine(y), bytes.data() + static_cast<std::size_t>(y) * row, row);
    return picture;
}

FileMeta metaOf(std::string_view record) {
    FileMeta meta{.durationMs = get<std::uint32_t>(record, 26),
                  .bitrateKbps = get<std::uint32_t>(record, 30),
                  .rate = get<std::uint32_t>(record, 34),
                  .w = get<std::uint32_t>(record, 38),
                  .h = get<std::uint32_t>(record, 42),
                  .pages = get<std::uint32_t>(record, 46)};
    const auto atime = std::bit_cast<std::int64_t>(get<std::uint64_t>(record, 18));
    if (get<std::uint8_t>(record, 5) == knowsAtime && atime >= earliestTime && atime <= latestTime)
        meta.atime = atime;
    return meta;
}

} // namespace

std::optional<std::string> encode(const Request& request) {
    if (request.path.empty() || request.path.size() > mostPathBytes ||
        request.path.find('\0') != std::string::npos)
        return std::nullopt;
    std::string record;
    record.reserve(requestHead + request.path.size());
    const QSize limit = request.limit.expandedTo({0, 0}).boundedTo(QSize(mostPixels, mostPixels));
    begin(record, static_cast<std::uint8_t>(request.kind), limit, request.ticket);
    return finished(record + request.path);
}

std::optional<Request> decodeRequest(std::string_view record) {
    if (!fits(record, requestHead + 1, largestRequest))
        return std::nullopt;
    const auto kind = get<std::uint8_t>(record, 5);
    Request request{.ticket = get<std::uint64_t>(record, 10),
                    .kind = static_cast<Kind>(kind),
                    .limit = sizeIn(record),
                    .path = std::string(record.substr(requestHead))};
    if (kind > static_cast<std::uint8_t>(Kind::preview) || request.ticket == 0 ||
        !isWithinBounds(request.limit) || request.path.find('\0') != std::string::npos)
        return std::nullopt;
    return request;
}

std::string encode(const Answer& answer) {
    const FileMeta& meta = answer.found.meta;
    QImage picture;
    if (!answer.found.picture.isNull() && isWithinBounds(answer.found.picture.size()))
        picture = answer.found.picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QByteArray text = cut(answer.found.text.toUtf8(), static_cast<qsizetype>(mostTextBytes));

    std::string record;
    record.reserve(answerHead + static_cast<std::size_t>(text.size()) +
                   pictureBytes(picture.size()));
    begin(record, meta.atime ? knowsAtime : std::uint8_t{0}, picture.size(), answer.ticket);
    put(record, std::bit_cast<std::uint64_t>(meta.atime.value_or(0)));
    for (std::uint32_t value :
         {meta.durationMs, meta.bitrateKbps, meta.rate, meta.w, meta.h, meta.pages})
        put(record, value);
    put(record, static_cast<std::uint32_t>(text.size()));
    record.append(text.data(), static_cast<std::size_t>(text.size()));
    const auto row = static_cast<std::size_t>(picture.width()) * 4;
    for (int y = 0; y < picture.height(); ++y)
        record.append(reinterpret_cast<const char*>(picture.constScanLine(y)), row);
    return finished(std::move(record));
}

std::optional<Answer> decodeAnswer(std::string_view record) {
    if (!fits(record, answerHead, largestAnswer) || get<std::uint8_t>(record, 5) > knowsAtime)
        return std::nullopt;
    const QSize size = sizeIn(record);
    const std::size_t textBytes = get<std::uint32_t>(record, 50);
    if (!isWithinBounds(size) || (size.width() == 0) != (size.height() == 0) ||
        textBytes > mostTextBytes || record.size() != answerHead + textBytes + pictureBytes(size))
        return std::nullopt;
    const std::string_view text = record.substr(answerHead, textBytes);
    return Answer{
        .ticket = get<std::uint64_t>(record, 10),
        .found = {.picture = pictureOf(size, record.substr(answerHead + textBytes)),
                  .text = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())),
                  .meta = metaOf(record)}};
}

void RecordStream::append(std::string_view bytes) {
    bytes_.erase(0, taken_);
    taken_ = 0;
    if (!isBroken_)
        bytes_ += bytes;
}

std::optional<std::string_view> RecordStream::next() {
    const std::string_view rest = std::string_view(bytes_).substr(taken_);
    if (isBroken_ || rest.size() < lengthBytes)
        return std::nullopt;
    const std::size_t bytes = lengthBytes + std::size_t{get<std::uint32_t>(rest, 0)};
    if (bytes > largest_) {
        isBroken_ = true;
        return std::nullopt;
    }
    if (rest.size() < bytes) {
        bytes_.reserve(taken_ + bytes);
        return std::nullopt;
    }
    taken_ += bytes;
    return rest.substr(0, bytes);
}

} // namespace quarrydex::protocol
