// The program that reads files, on real files and on such as nobody should make.

#include "QuarrydexApp/metadata/MetaClient.h"
#include "QuarrydexApp/metadata/Protocol.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Program.h"
#include "tests/support/TempTree.h"
#include "tests/support/WidgetsApplication.h"

#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>
#include <QStringEncoder>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

using namespace std::string_literals;

/// The program, spoken to directly, so that a crash shows as one.
class Reader {
  public:
    Reader() {
        process_.setStandardErrorFile(QProcess::nullDevice());
        process_.start(QStringLiteral(QDX_PROGRAM), {});
        EXPECT_TRUE(next().has_value()) << "no greeting";
    }

    ~Reader() {
        process_.closeWriteChannel();
        EXPECT_TRUE(process_.waitForFinished(20'000)) << "it outlives its input";
        EXPECT_EQ(process_.exitCode(), 0);
    }

    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Nothing once the program is gone.
    std::optional<FilePreview> preview(const std::string& path, QSize limit) {
        return ask({.kind = protocol::Kind::preview, .limit = limit, .path = path});
    }

    FileMeta meta(const std::string& path) {
        const auto found = ask({.path = path});
        EXPECT_TRUE(found.has_value()) << path;
        return found.value_or(FilePreview{}).meta;
    }

    [[nodiscard]] qint64 processId() const { return process_.processId(); }

  private:
    std::optional<FilePreview> ask(protocol::Request request) {
        request.ticket = ++ticket_;
        const std::string record = protocol::encode(request).value();
        process_.write(record.data(), static_cast<qint64>(record.size()));
        auto answer = next();
        EXPECT_EQ(answer ? answer->ticket : ticket_, ticket_);
        return answer ? std::optional(answer->found) : std::nullopt;
    }

    std::optional<protocol::Answer> next() {
        for (;;) {
            if (const auto record = answers_.next())
                return protocol::decodeAnswer(*record).value();
            if (!process_.waitForReadyRead(60'000))
                return std::nullopt;
            const QByteArray bytes = process_.readAllStandardOutput();
            answers_.append({bytes.data(), static_cast<std::size_t>(bytes.size())});
        }
    }

    QProcess process_;
    protocol::RecordStream answers_{protocol::largestAnswer};
    std::uint64_t ticket_ = 0;
};

class ForeignFilesTest : public ::testing::Test {
  protected:
    static constexpr QSize limit{30, 30};

    /// Red on the left, blue on the right.
    static QImage flag(int width, int height) {
        QImage image(width, height, QImage::Format_RGB32);
        image.fill(Qt::red);
        QPainter(&image).fillRect(width / 2, 0, width, height, Qt::blue);
        return image;
    }

    std::string write(const std::string& name, const QImage& image, const char* format) {
        const std::string path = tree_.path(name);
        EXPECT_TRUE(image.save(QFile::decodeName(path.c_str()), format)) << name;
        return path;
    }

    std::string write(const std::string& name, std::string_view bytes) {
        tree_.file(name, bytes);
        return tree_.path(name);
    }

    std::string document(const std::string& name, int pages) {
        const std::string path = tree_.path(name);
        QPdfWriter writer(QFile::decodeName(path.c_str()));
        writer.setPageSize(QPageSize(QPageSize::A4));
        QPainter painter(&writer);
        for (int page = 0; page < pages; ++page) {
            painter.fillRect(0, 0, 5'000, 5'000, Qt::red);
            if (page + 1 < pages)
                writer.newPage();
        }
        return path;
    }

    /// One for all tests: whoever ends it fails.
    static void SetUpTestSuite() { shared_ = std::make_unique<Reader>(); }

    static void TearDownTestSuite() { shared_.reset(); }

    TempTree tree_;
    Reader& reader_ = *shared_;

  private:
    static inline std::unique_ptr<Reader> shared_;
};

bool isNear(const QColor& a, const QColor& b) {
    constexpr int tolerance = 40;
    return std::abs(a.red() - b.red()) < tolerance && std::abs(a.green() - b.green()) < tolerance &&
           std::abs(a.blue() - b.blue()) < tolerance;
}

std::string contents(const std::string& path) {
    QFile file(QFile::decodeName(path.c_str()));
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "";
}

/// A picture without any lines. `crc` is the sum of its header, on which readers insist.
std::string png(std::uint32_t width, std::uint32_t height, std::uint32_t crc) {
    return "\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR"s + bytes::be(width, 4) + bytes::be(height, 4) +
           "\x08\x06\0\0\0"s + bytes::be(crc, 4) +
           "\0\0\0\x02IDAT\x78\x9C\x62\xA4\x91\x2B"
           "\0\0\0\0IEND\xAE\x42\x60\x82"s;
}

} // namespace

TEST_F(ForeignFilesTest, PicturesAreMeasuredAndShrunk) {
    for (const char* format : {"png", "jpg", "bmp", "ppm", "xpm", "tiff", "webp", "ico"}) {
        SCOPED_TRACE(format);
        const std::string path = write(std::string("a.") + format, flag(60, 40), format);
        const FileMeta meta = reader_.meta(path);
        EXPECT_EQ(QSize(meta.w, meta.h), QSize(60, 40));
        const auto small = reader_.preview(path, limit).value();
        ASSERT_EQ(small.picture.size(), QSize(30, 20));
        EXPECT_TRUE(isNear(small.picture.pixelColor(7, 10), Qt::red));
        EXPECT_TRUE(isNear(small.picture.pixelColor(22, 10), Qt::blue));
        EXPECT_EQ(small.meta, meta);
        EXPECT_EQ(reader_.preview(path, {500, 500}).value().picture.size(), QSize(60, 40));
    }
    const auto line = reader_.preview(write("line.png", flag(4'000, 2), "png"), limit).value();
    EXPECT_EQ(line.picture.size(), QSize(30, 1));
}

TEST_F(ForeignFilesTest, APictureStandsUpright) {
    const std::string path = tree_.path("upright.jpg");
    QImageWriter writer(QFile::decodeName(path.c_str()), "jpeg");
    writer.setTransformation(QImageIOHandler::TransformationRotate90);
    ASSERT_TRUE(writer.write(flag(60, 40)));
    const auto shown = reader_.preview(path, limit).value();
    EXPECT_EQ(QSize(shown.meta.w, shown.meta.h), QSize(40, 60));
    ASSERT_EQ(shown.picture.size(), QSize(20, 30));
    EXPECT_TRUE(isNear(shown.picture.pixelColor(10, 4), Qt::red));
    EXPECT_TRUE(isNear(shown.picture.pixelColor(10, 25), Qt::blue));
}

TEST_F(ForeignFilesTest, DrawingsWithLettersAreDrawn) {
    const std::string path = write("a.svg", R"(<?xml version="1.0"?><!-- c -->
        <svg xmlns="http://www.w3.org/2000/svg" width="60" height="40">
        <rect width="60" height="40" fill="red"/><text y="20">Text</text></svg>)");
    const auto drawn = reader_.preview(path, limit).value();
    ASSERT_EQ(drawn.picture.size(), QSize(30, 20));
    EXPECT_TRUE(isNear(drawn.picture.pixelColor(28, 18), Qt::red));
}

TEST_F(ForeignFilesTest, DocumentsGiveTheirPagesAndTheFirst) {
#ifndef QDX_READS_DOCUMENT
    GTEST_SKIP() << "not run: built without QtPdf";
#endif
    const std::string path = document("a.pdf", 3);
    EXPECT_EQ(reader_.meta(path).pages, 3U);
    const auto first = reader_.preview(path, {300, 300}).value();
    EXPECT_EQ(first.picture.height(), 300);
    EXPECT_NEAR(first.picture.width(), 212, 1);
    EXPECT_TRUE(isNear(first.picture.pixelColor(100, 100), Qt::red));
    EXPECT_EQ(first.picture.pixelColor(105, 295), QColor(Qt::white));
}

TEST_F(ForeignFilesTest, SoundsAndFilmsAreMeasured) {
#ifndef QDX_READS_MEDIA
    GTEST_SKIP() << "not run: built without libavformat";
#endif
    const Outcome made = runProgram(
        "/bin/sh", {"-c", R"sh(
set -e
command -v ffmpeg >/dev/null || exit 77
cd "$0"
ff() { ffmpeg -nostdin -v error "$@"; }
film() { ff -f lavfi -i testsrc=d=2:s=320x180:r=10 -f lavfi -i sine=d=2:r=44100 "$@"; }
ff -f lavfi -i sine=d=2:r=44100 -ac 2 -c:a pcm_s16le a.wav
ff -i a.wav a.flac
ff -i a.wav -b:a 128k a.ogg
ff -i a.wav -i cover.png -map 0 -map 1 -c:v copy -id3v2_version 3 -b:a 128k a.mp3
ff -i a.wav -c:a aac a.aac
film -c:v mpeg4 -c:a aac a.mp4
ff -i a.mp4 -c copy -metadata:s:v:0 rotate=90 turned.mp4
film -c:v mpeg4 -c:a aac a.mkv
film -c:v mpeg4 -c:a mp2 a.avi
film -c:v mpeg2video -c:a mp2 a.ts
)sh",
                    write("cover.png", flag(60, 40), "png").substr(0, tree_.path().size())});
    if (made.status == 77)
        GTEST_SKIP() << "not run: ffmpeg is needed";
    ASSERT_EQ(made.status, 0) << made.err;

    const QSize none(0, 0), wide(320, 180);
    const std::vector<std::pair<const char*, QSize>> cases = {
        {"a.wav", none}, {"a.flac", none},
        {"a.ogg", none}, {"a.mp3", none},
        {"a.aac", none}, {"a.mp4", wide},
        {"a.mkv", wide}, {"a.avi", wide},
        {"a.ts", wide},  {"turned.mp4", wide.transposed()}};
    for (const auto& [name, size] : cases) {
        SCOPED_TRACE(name);
        const std::string path = tree_.path(name);
        const FileMeta meta = reader_.meta(path);
        EXPECT_NEAR(meta.durationMs, 2'000, 150);
        EXPECT_EQ(meta.rate, 44'100U);
        EXPECT_EQ(QSize(meta.w, meta.h), size);
        const double bytes = static_cast<double>(contents(path).size());
        EXPECT_GT(meta.bitrateKbps, 0U);
        EXPECT_LT(meta.bitrateKbps, bytes * 8 / 2'000 * 1.2 + 1);
        EXPECT_TRUE(reader_.preview(path, limit).value().text.isEmpty());
    }
    EXPECT_EQ(reader_.meta(tree_.path("a.wav")).bitrateKbps, 1'411U);
    EXPECT_EQ(reader_.meta(tree_.path("a.mp3")).bitrateKbps, 128U);
    const auto cover = reader_.preview(tree_.path("a.mp3"), limit).value();
    EXPECT_EQ(cover.picture.size(), QSize(30, 20));
}

TEST_F(ForeignFilesTest, TextsAreShownInWhatTheyAreWrittenIn) {
    const QString text = QStringLiteral("Grüße\nan alle – 世界\n");
    QStringEncoder utf16(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
    const QByteArray wide = utf16(text);
    const std::vector<std::tuple<const char*, std::string, QString>> cases = {
        {"utf8", text.toStdString(), text},
        {"marked", "\xEF\xBB\xBF" + text.toStdString(), text},
        {"utf16", wide.toStdString(), text},
        {"latin1", "Gr\xFC\xDFig", QStringLiteral("Grüßig")},
        {"colours", "\x1B[1mbold\x1B[0m\n", QStringLiteral("\x1B[1mbold\x1B[0m\n")},
        {"like a picture", "BM is no picture", QStringLiteral("BM is no picture")},
        {"like a film", "The AVI AVI file", QStringLiteral("The AVI AVI file")},
        {"program", "\177ELF\2\1\1\0\0\0"s, QString()},
        {"empty", "", QString()},
    };
    for (const auto& [name, bytes, shown] : cases) {
        const std::string path = write(name, bytes);
        EXPECT_EQ(reader_.preview(path, limit).value().text, shown) << name;
        EXPECT_EQ(reader_.meta(path).w, 0U) << name;
    }
    // The end of what is read falls within a character.
    std::string longText = "x";
    while (longText.size() < 100'000)
        longText += "世";
    const auto beginning = reader_.preview(write("long", longText), limit).value();
    EXPECT_EQ(beginning.text, u'x' + QString(21'845, QChar(u'世')));
}

TEST_F(ForeignFilesTest, LookingIsNotOpening) {
    const std::string path = write("a.png", flag(60, 40), "png");
    timespec times[2] = {{1'000'000'000, 0}, {1'500'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    EXPECT_EQ(reader_.preview(path, limit).value().meta.atime, 1'000'000'000);
    EXPECT_EQ(reader_.meta(path).atime, 1'000'000'000);
    EXPECT_EQ(reader_.meta(tree_.path("gone")).atime, std::nullopt);
}

TEST_F(ForeignFilesTest, WhatIsNoFileIsNeverWaitedFor) {
    tree_.fifo("pipe.png");
    tree_.socket("socket.png");
    tree_.link("to pipe", "pipe.png");
    tree_.link("circle", "circle");
    tree_.folder("folder.png");
    const auto process = reader_.processId();
    for (const std::string& path :
         {tree_.path("pipe.png"), tree_.path("socket.png"), tree_.path("to pipe"),
          tree_.path("circle"), tree_.path("folder.png"), tree_.path("gone"), "/dev/zero"s,
          "/dev/full"s, "/dev/tty"s, "relative"s, "/"s}) {
        auto found = reader_.preview(path, limit);
        ASSERT_TRUE(found.has_value()) << path;
        found->meta.atime.reset();
        EXPECT_EQ(found->meta, FileMeta{}) << path;
        EXPECT_TRUE(found->picture.isNull() && found->text.isEmpty()) << path;
    }
    tree_.link("to picture", write("a.png", flag(60, 40), "png"));
    EXPECT_EQ(reader_.meta(tree_.path("to picture")).w, 60U);
    EXPECT_EQ(reader_.processId(), process);
}

TEST_F(ForeignFilesTest, HostileFilesAreAnsweredAndSurvived) {
    // Twelve times itself, ten times over.
    std::string laughter = "<?xml version='1.0'?><!DOCTYPE svg [<!ENTITY a0 'ha'>";
    for (int i = 1; i <= 10; ++i) {
        laughter += "<!ENTITY a" + std::to_string(i) + " '";
        for (int k = 0; k < 12; ++k)
            laughter += "&a" + std::to_string(i - 1) + ";";
        laughter += "'>";
    }
    laughter += "]><svg width='60' height='40'><text>&a10;</text></svg>";

    const std::vector<std::pair<const char*, std::string>> files = {
        {"widest.png", png(0x7FFFFFFF, 0x7FFFFFFF, 0x14C90B66)},
        {"wider.png", png(0x80000000, 0x80000000, 0xFDB4594A)},
        {"large.png", png(60'000, 60'000, 0x80D27542)},
        {"flat.png", png(0, 0, 0x3B8B7C12)},
        {"huge.bmp", "BM" + std::string(12, '\0') + "\x28\0\0\0\xFF\xFF\xFF\x7F\xFF\xFF\xFF\x7F"s +
                         "\x01\0\x20\0"s + std::string(64, '\0')},
        {"huge.ppm", "P6\n2147483647 2147483647\n255\n"},
        {"laughter.svg", laughter},
        {"device.svg", "<svg width='60' height='40' xmlns:xlink='http://www.w3.org/1999/xlink'>"
                       "<image width='9' height='9' xlink:href='/dev/zero'/></svg>"},
        {"long.mp4", "\xFF\xFF\xFF\xFFmoov\xFF\xFF\xFF\xFFtrak" + std::string(100, '\xFF')},
        {"sync.mp3", std::string(100'000, '\xFF')},
        {"deep.pdf", "%PDF-1.4\n" + std::string(50'000, '[')},
        {"media.mkv", "\x1A\x45\xDF\xA3" + std::string(1'000, '\x01')},
    };
    for (const auto& [name, bytes] : files) {
        const auto found = reader_.preview(write(name, bytes), limit);
        ASSERT_TRUE(found.has_value()) << name << " ended the program";
        if (std::string_view(name).ends_with("png")) {
            EXPECT_TRUE(found->picture.isNull()) << name;
        }
    }
}

TEST_F(ForeignFilesTest, CutFilesAreAnsweredAndSurvived) {
    std::vector<std::string> whole = {document("whole.pdf", 2)};
    for (const char* format : {"png", "jpg", "bmp", "ppm", "tiff", "webp", "ico"})
        whole.push_back(write(std::string("whole.") + format, flag(60, 40), format));
    for (const std::string& path : whole) {
        const std::string bytes = contents(path);
        ASSERT_FALSE(bytes.empty());
        const std::string name = "cut" + path.substr(path.rfind('.'));
        for (std::size_t part = 0; part < 24; ++part) {
            const std::string cut = write(name, bytes.substr(0, bytes.size() * part / 24));
            ASSERT_TRUE(reader_.preview(cut, limit).has_value()) << name << " " << part;
            tree_.remove(name);
        }
    }
}

TEST_F(ForeignFilesTest, TheProgramGivesUpWhatItDoesNotNeed) {
    const std::string folder = "/proc/" + std::to_string(reader_.processId());
    const std::string limits = contents(folder + "/limits");
    if (limits.empty())
        GTEST_SKIP() << "not run: the system does not show the limits of processes";
    const auto most = [&](const std::string& what) {
        const std::size_t at = limits.find("Max " + what);
        return at == std::string::npos ? "" : limits.substr(at, limits.find('\n', at) - at);
    };
    EXPECT_NE(most("core file size").find(" 0 "), std::string::npos);
    EXPECT_NE(most("file size").find(" 0 "), std::string::npos);
#ifdef QDX_LIMIT_MEMORY
    EXPECT_NE(most("address space").find("1073741824"), std::string::npos);
#endif
    EXPECT_NE(contents(folder + "/status").find("NoNewPrivs:\t1"), std::string::npos);
}

TEST_F(ForeignFilesTest, TheClientAndTheProgramUnderstandEachOther) {
    MetaClient client({.program = QDX_PROGRAM});
    std::optional<FilePreview> got;
    client.preview(write("a.png", flag(60, 40), "png"), limit,
                   [&](const FilePreview& found) { got = found; });
    ASSERT_TRUE(testing::comesTo([&] { return got.has_value(); }));
    EXPECT_EQ(got->picture.size(), QSize(30, 20));
}

} // namespace quarrydex
