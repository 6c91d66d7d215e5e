#include "QuarrydexApp/metadata/Protocol.h"

#include "QuarrydexCore/base/Bytes.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::protocol {

namespace {

Request request() {
    return {.ticket = 7, .kind = Kind::preview, .limit = {640, 480}, .path = "/a\xFF b/\nc"};
}

Answer answer() {
    Answer full{.ticket = 0x0102030405060708, .found = {}};
    full.found.meta = {.atime = -5,
                       .durationMs = 1,
                       .bitrateKbps = 2,
                       .rate = 3,
                       .w = 0xFFFFFFFF,
                       .h = 5,
                       .pages = 6};
    full.found.text = QStringLiteral("Grüße, 世界");
    full.found.picture = QImage(3, 2, QImage::Format_ARGB32_Premultiplied);
    full.found.picture.fill(QColor(10, 20, 30));
    full.found.picture.setPixelColor(2, 1, QColor(200, 100, 50));
    return full;
}

void expectEqual(const FilePreview& got, const FilePreview& wanted) {
    EXPECT_EQ(got.meta, wanted.meta);
    EXPECT_EQ(got.text, wanted.text);
    EXPECT_EQ(got.picture, wanted.picture);
}

template <typename T> std::string with(std::string record, std::size_t offset, T value) {
    storeLE(record.data() + offset, value);
    return record;
}

} // namespace

TEST(ProtocolTest, RecordsComeOutOfPiecesAsTheyWentIn) {
    const std::string requestBytes = encode(request()).value();
    const std::string bytes = encode(answer()) + encode(Answer{}) + encode(answer());
    for (std::size_t piece : {std::size_t{1}, std::size_t{7}, bytes.size()}) {
        RecordStream stream(largestAnswer);
        std::vector<Answer> got;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            stream.append(std::string_view(bytes).substr(at, piece));
            while (const auto record = stream.next())
                got.push_back(decodeAnswer(*record).value());
        }
        ASSERT_EQ(got.size(), 3U);
        EXPECT_EQ(got[0].ticket, 0x0102030405060708U);
        expectEqual(got[0].found, answer().found);
        expectEqual(got[1].found, {});
        expectEqual(got[2].found, answer().found);
    }
    const Request back = decodeRequest(requestBytes).value();
    EXPECT_EQ(back.ticket, 7U);
    EXPECT_EQ(back.kind, Kind::preview);
    EXPECT_EQ(back.limit, QSize(640, 480));
    EXPECT_EQ(back.path, request().path);
}

TEST(ProtocolTest, WhatDoesNotFitToTheByteIsRefused) {
    const std::string good = encode(answer());
    for (std::size_t size = 0; size < good.size(); ++size) {
        const std::string cut = good.substr(0, size);
        EXPECT_FALSE(decodeAnswer(cut)) << size;
        if (size >= answerHead) {
            EXPECT_FALSE(decodeAnswer(with(cut, 0, static_cast<std::uint32_t>(size - 4)))) << size;
        }
    }
    const std::string asked = encode(request()).value();
    for (std::size_t size = 0; size < asked.size(); ++size)
        EXPECT_FALSE(decodeRequest(asked.substr(0, size))) << size;

    const std::vector<std::pair<const char*, std::string>> answers = {
        {"version", with(good, 4, std::uint8_t{2})},
        {"flags", with(good, 5, std::uint8_t{2})},
        {"wider than its bytes", with(good, 6, std::uint16_t{4})},
        {"a width that wraps", with(good, 6, std::uint16_t{0x8000})},
        {"no height", with(good, 8, std::uint16_t{0})},
        {"text longer than the record", with(good, 50, std::uint32_t{0xFFFFFFF0})},
        {"a byte too many", with(good + "x", 0, static_cast<std::uint32_t>(good.size() - 3))},
    };
    for (const auto& [what, bytes] : answers)
        EXPECT_FALSE(decodeAnswer(bytes)) << what;
    const std::vector<std::pair<const char*, std::string>> requests = {
        {"version", with(asked, 4, std::uint8_t{0})},
        {"kind", with(asked, 5, std::uint8_t{2})},
        {"limit", with(asked, 6, std::uint16_t{mostPixels + 1})},
        {"ticket", with(asked, 10, std::uint64_t{0})},
        {"zero byte", with(asked, requestHead, std::uint8_t{0})},
    };
    for (const auto& [what, bytes] : requests)
        EXPECT_FALSE(decodeRequest(bytes)) << what;
}

TEST(ProtocolTest, NothingLargerThanTheBoundsIsMade) {
    EXPECT_FALSE(encode(Request{.ticket = 1, .path = ""}));
    EXPECT_FALSE(encode(Request{.ticket = 1, .path = std::string("/a\0b", 4)}));
    EXPECT_FALSE(encode(Request{.ticket = 1, .path = std::string(mostPathBytes + 1, 'a')}));
    const auto wide = encode(
        Request{.ticket = 1, .limit = {100'000, -3}, .path = std::string(mostPathBytes, 'a')});
    EXPECT_EQ(decodeRequest(wide.value()).value().limit, QSize(mostPixels, 0));

    Answer large = answer();
    large.found.picture = QImage(mostPixels + 1, 1, QImage::Format_ARGB32_Premultiplied);
    // Three bytes a character, of which one falls on the end.
    large.found.text = QString(100'000, QChar(u'世'));
    const Answer back = decodeAnswer(encode(large)).value();
    EXPECT_TRUE(back.found.picture.isNull());
    EXPECT_EQ(back.found.text, QString(mostTextBytes / 3, QChar(u'世')));
}

TEST(ProtocolTest, AStreamThatAnnouncesTooMuchGivesNothingMore) {
    RecordStream stream(largestRequest);
    stream.append(encode(request()).value());
    stream.append(with(std::string(4, '\0'), 0, static_cast<std::uint32_t>(largestRequest - 3)));
    EXPECT_TRUE(stream.next());
    EXPECT_FALSE(stream.isBroken());
    EXPECT_FALSE(stream.next());
    EXPECT_TRUE(stream.isBroken());
    stream.append(encode(request()).value());
    EXPECT_FALSE(stream.next());
}

TEST(ProtocolTest, ATimeThatNoCalendarShowsIsUnknown) {
    const std::uint64_t last = 253'402'300'799;
    for (const std::uint64_t time : {last, last + 1, std::uint64_t{1} << 63}) {
        const auto back = decodeAnswer(with(encode(answer()), 18, time));
        EXPECT_EQ(back.value().found.meta.atime.has_value(), time == last) << time;
    }
}

} // namespace quarrydex::protocol
