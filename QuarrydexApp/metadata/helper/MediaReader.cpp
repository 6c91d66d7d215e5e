#include "QuarrydexApp/metadata/helper/FileFormat.h"
#include "QuarrydexApp/metadata/helper/Readers.h"

#include <QBuffer>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <memory>
#include <span>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/mem.h>
}

#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

/// What is read of a file to find out about it; the values of a long one stand at both its ends.
constexpr std::int64_t mostBytesRead = std::int64_t{64} << 20;
constexpr std::int64_t probeBytes = std::int64_t{2} << 20;
constexpr std::int64_t probeMicroseconds = 2'000'000;

/// An open file as libavformat reads it. It knows no name of it, and opens no other.
class Input {
  public:
    explicit Input(int fd) : fd_(fd) {
        struct stat st;
        if (::fstat(fd, &st) == 0)
            size_ = st.st_size;
        constexpr int bufferBytes = 32'768;
        if (auto* buffer = static_cast<unsigned char*>(::av_malloc(bufferBytes)))
            io_ = ::avio_alloc_context(buffer, bufferBytes, 0, this, read, nullptr, seek);
    }

    ~Input() {
        if (io_ != nullptr)
            ::av_freep(&io_->buffer);
        ::avio_context_free(&io_);
    }

    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    [[nodiscard]] AVIOContext* io() { return io_; }

    [[nodiscard]] std::int64_t size() const { return size_; }

  private:
    static int read(void* self, std::uint8_t* to, int bytes) {
        auto& input = *static_cast<Input*>(self);
        if (input.bytesRead_ >= mostBytesRead)
            return AVERROR_EOF;
        ssize_t n;
        do {
            n = ::pread(input.fd_, to, static_cast<std::size_t>(bytes), input.at_);
        } while (n < 0 && errno == EINTR);
        if (n <= 0)
            return n == 0 ? AVERROR_EOF : AVERROR(errno);
        input.at_ += n;
        input.bytesRead_ += n;
        return static_cast<int>(n);
    }

    static std::int64_t seek(void* self, std::int64_t offset, int whence) {
        auto& input = *static_cast<Input*>(self);
        if (whence == AVSEEK_SIZE)
            return input.size_;
        std::int64_t to = offset;
        whence &= ~AVSEEK_FORCE;
        if ((whence == SEEK_CUR && __builtin_add_overflow(input.at_, offset, &to)) ||
            (whence == SEEK_END && __builtin_add_overflow(input.size_, offset, &to)) || to < 0)
            return AVERROR(EINVAL);
        return input.at_ = to;
    }

    int fd_;
    std::int64_t size_ = 0;
    std::int64_t at_ = 0;
    std::int64_t bytesRead_ = 0;
    AVIOContext* io_ = nullptr;
};

struct Close {
    void operator()(AVFormatContext* context) const { ::avformat_close_input(&context); }
};

using Context = std::unique_ptr<AVFormatContext, Close>;

int refuse(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
}

Context opened(Input& input, const char* format) {
    const AVInputFormat* demuxer = ::av_find_input_format(format);
    AVFormatContext* context = ::avformat_alloc_context();
    if (demuxer == nullptr || input.io() == nullptr || context == nullptr) {
        ::avformat_free_context(context);
        return nullptr;
    }
    context->pb = input.io();
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->io_open = refuse;
    context->protocol_whitelist = ::av_strdup("none");
    context->probesize = probeBytes;
    context->max_analyze_duration = probeMicroseconds;
    // Frees the context when it fails.
    if (::avformat_open_input(&context, "", demuxer, nullptr) != 0)
        return nullptr;
    return Context(context);
}

std::span<AVStream* const> streamsOf(const AVFormatContext& context) {
    return {context.streams, context.nb_streams};
}

bool isCover(const AVStream& stream) {
    return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

/// The first stream of the kind that is none of a cover.
const AVStream* streamOf(const AVFormatContext& context, AVMediaType type) {
    for (const AVStream* stream : streamsOf(context))
        if (stream->codecpar->codec_type == type && !isCover(*stream))
            return stream;
    return nullptr;
}

std::uint32_t positive(std::int64_t value) {
    constexpr std::int64_t most = std::numeric_limits<std::uint32_t>::max();
    return value < 0 || value > most ? 0 : static_cast<std::uint32_t>(value);
}

std::uint32_t durationMs(const AVFormatContext& context) {
    if (context.duration != AV_NOPTS_VALUE && context.duration > 0)
        return positive(context.duration / (AV_TIME_BASE / 1'000));
    std::int64_t longest = 0;
    for (const AVStream* stream : streamsOf(context))
        if (stream->duration != AV_NOPTS_VALUE && !isCover(*stream))
            longest =
                std::max(longest, ::av_rescale_q(stream->duration, stream->time_base, {1, 1'000}));
    return positive(longest);
}

/// Headers of some formats tell less than others.
bool tellsEnough(const AVFormatContext& context) {
    const AVStream* film = streamOf(context, AVMEDIA_TYPE_VIDEO);
    const AVStream* sound = streamOf(context, AVMEDIA_TYPE_AUDIO);
    return (film != nullptr || sound != nullptr) && durationMs(context) != 0 &&
           (film == nullptr || film->codecpar->width > 0) &&
           (sound == nullptr || sound->codecpar->sample_rate > 0);
}

std::uint32_t
bitrateKbps(const AVFormatContext& context, std::int64_t fileSize, std::uint32_t duration) {
    const AVStream* sound = streamOf(context, AVMEDIA_TYPE_AUDIO);
    // A cover is no sound, but lies in the same file.
    if (std::ranges::any_of(streamsOf(context), [](const AVStream* s) { return isCover(*s); }) &&
        sound != nullptr && sound->codecpar->bit_rate > 0)
        return positive((sound->codecpar->bit_rate + 500) / 1'000);
    if (duration == 0 || fileSize > std::numeric_limits<std::int64_t>::max() / 8)
        return 0;
    return positive(fileSize * 8 / duration);
}

/// Telephones film upright by saying that the film lies on its side.
bool isTurned(const AVStream& stream) {
    std::size_t bytes = 0;
    const auto* matrix = ::av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &bytes);
    if (matrix == nullptr || bytes < 9 * sizeof(std::int32_t))
        return false;
    const double angle = ::av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
    return std::abs(std::abs(angle) - 90) < 1 || std::abs(std::abs(angle) - 270) < 1;
}

void readCover(const AVFormatContext& context, const Wanted& wanted, FilePreview& to) {
    for (const AVStream* stream : streamsOf(context)) {
        const AVPacket& packet = stream->attached_pic;
        if (!isCover(*stream) || packet.size <= 0)
            continue;
        const auto bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(packet.data),
                                                   static_cast<qsizetype>(packet.size));
        const FileFormat format =
            formatOf({bytes.data(), std::min<std::size_t>(formatBytes, bytes.size())}, "");
        QBuffer buffer;
        buffer.setData(bytes);
        buffer.open(QIODevice::ReadOnly);
        FilePreview cover;
        if (format.reader == FileReader::picture)
            readPicture(buffer, format.name, wanted, cover);
        if (cover.picture.isNull())
            continue;
        to.picture = cover.picture;
        return;
    }
}

} // namespace

void readMedia(int fd, const char* format, const Wanted& wanted, FilePreview& to) {
    ::av_log_set_level(AV_LOG_QUIET);
    Input input(fd);
    const Context context = opened(input, format);
    if (context == nullptr)
        return;
    if (!tellsEnough(*context))
        static_cast<void>(::avformat_find_stream_info(context.get(), nullptr));
    to.meta.durationMs = durationMs(*context);
    to.meta.bitrateKbps = bitrateKbps(*context, input.size(), to.meta.durationMs);
    if (const AVStream* sound = streamOf(*context, AVMEDIA_TYPE_AUDIO))
        to.meta.rate = positive(sound->codecpar->sample_rate);
    if (const AVStream* film = streamOf(*context, AVMEDIA_TYPE_VIDEO)) {
        to.meta.w = positive(film->codecpar->width);
        to.meta.h = positive(film->codecpar->height);
        if (isTurned(*film))
            std::swap(to.meta.w, to.meta.h);
    }
    if (wanted.picture)
        readCover(*context, wanted, to);
}

} // namespace quarrydex
