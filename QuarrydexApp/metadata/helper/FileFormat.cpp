#include "QuarrydexApp/metadata/helper/FileFormat.h"

#include <array>
#include <cctype>
#include <string>

namespace quarrydex {

namespace {

using namespace std::string_view_literals;

struct Magic {
    std::size_t offset;
    std::string_view bytes;
    FileFormat format;
};

constexpr FileFormat picture(const char* name) {
    return {FileReader::picture, name};
}

constexpr FileFormat media(const char* name) {
    return {FileReader::media, name};
}

// The picture formats are Qt's names, those of media libavformat's.
constexpr std::array magics = {
    Magic{0, "\xFF\xD8\xFF"sv, picture("jpeg")},
    Magic{0, "\x89PNG\r\n\x1A\n"sv, picture("png")},
    Magic{0, "GIF8"sv, picture("gif")},
    Magic{8, "WEBP"sv, picture("webp")},
    Magic{0, "\0\0\1\0"sv, picture("ico")},
    Magic{0, "\0\0\2\0"sv, picture("cur")},
    Magic{0, "icns"sv, picture("icns")},
    Magic{0, "\x8AMNG\r\n\x1A\n"sv, picture("mng")},
    Magic{0, "P1\n"sv, picture("pbm")},
    Magic{0, "P4\n"sv, picture("pbm")},
    Magic{0, "P2\n"sv, picture("pgm")},
    Magic{0, "P5\n"sv, picture("pgm")},
    Magic{0, "P3\n"sv, picture("ppm")},
    Magic{0, "P6\n"sv, picture("ppm")},
    Magic{0, "/* XPM */"sv, picture("xpm")},
    Magic{8, "WAVE"sv, media("wav")},
    Magic{8, "AVI "sv, media("avi")},
    Magic{8, "AIFF"sv, media("aiff")},
    Magic{8, "AIFC"sv, media("aiff")},
    Magic{4, "ftypavif"sv, {}}, // pictures, for which there is no reader
    Magic{4, "ftypavis"sv, {}},
    Magic{4, "ftyphei"sv, {}},
    Magic{4, "ftypmif1"sv, {}},
    Magic{4, "ftypmsf1"sv, {}},
    Magic{4, "ftypcrx "sv, {}},
    Magic{4, "ftyp"sv, media("mov")},
    Magic{4, "moov"sv, media("mov")},
    Magic{4, "mdat"sv, media("mov")},
    Magic{4, "wide"sv, media("mov")},
    Magic{0, "\x1A\x45\xDF\xA3"sv, media("matroska")},
    Magic{0, "OggS"sv, media("ogg")},
    Magic{0, "fLaC"sv, media("flac")},
    Magic{0, "FLV\1"sv, media("flv")},
    Magic{0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, media("asf")},
    Magic{0, "\0\0\1\xBA"sv, media("mpeg")},
    Magic{0, "\0\0\1\xB3"sv, media("mpegvideo")},
    Magic{0, "#!AMR"sv, media("amr")},
    Magic{0, "MAC "sv, media("ape")},
    Magic{0, "wvpk"sv, media("wv")},
    Magic{0, "TTA1"sv, media("tta")},
    Magic{0, "DSD "sv, media("dsf")},
    Magic{0, "caff"sv, media("caf")},
    Magic{0, ".RMF"sv, media("rm")},
    Magic{0, "MPCK"sv, media("mpc8")},
    Magic{0, "MP+"sv, media("mpc")},
    Magic{0, "ID3"sv, media("mp3")},
};

/// In lower case, without the dot; views nothing of the name.
std::string extensionOf(std::string_view name) {
    const std::size_t dot = name.find_last_of("./");
    std::string extension;
    if (dot == std::string_view::npos || name[dot] == '/')
        return extension;
    for (char c : name.substr(dot + 1))
        extension += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

bool isPdf(std::string_view head) {
    return head.substr(0, 1'024).find("%PDF-") != std::string_view::npos;
}

/// Markup that may stand before the element is passed over, other markup is not.
bool isSvg(std::string_view head) {
    if (head.starts_with("\xEF\xBB\xBF"))
        head.remove_prefix(3);
    const std::size_t begin = head.find_first_not_of(" \t\r\n");
    return begin != std::string_view::npos && head[begin] == '<' &&
           head.find("<svg") != std::string_view::npos &&
           head.find("<html") == std::string_view::npos;
}

/// Cameras' raw files are TIFF outside, but what stands first in them is a small picture.
bool isTiff(std::string_view head, const std::string& extension) {
    return (head.starts_with("II*\0"sv) || head.starts_with("MM\0*"sv)) &&
           (extension.empty() || extension == "tif" || extension == "tiff");
}

bool isTransportStream(std::string_view head) {
    constexpr std::size_t packet = 188;
    for (std::size_t at : {std::size_t{0}, packet, 2 * packet})
        if (at >= head.size() || head[at] != 'G')
            return false;
    return true;
}

/// A frame of MPEG audio or of AAC begins with eleven or twelve set bits.
FileFormat framesOf(std::string_view head) {
    if (head.size() < 4 || head[0] != '\xFF')
        return {};
    const auto second = static_cast<unsigned char>(head[1]);
    const auto third = static_cast<unsigned char>(head[2]);
    if ((second & 0xF6) == 0xF0)
        return media("aac");
    const bool isFrame = (second & 0xE0) == 0xE0 && (second & 0x18) != 0x08 &&
                         (second & 0x06) != 0 && (third & 0xF0) != 0xF0 && (third & 0x0C) != 0x0C;
    return isFrame ? media("mp3") : FileFormat{};
}

} // namespace

FileFormat formatOf(std::string_view head, std::string_view name) {
    for (const Magic& magic : magics)
        if (head.size() > magic.offset && head.substr(magic.offset).starts_with(magic.bytes))
            return magic.format;
    const std::string extension = extensionOf(name);
    if (isPdf(head))
        return {FileReader::document, "pdf"};
    if (isTiff(head, extension))
        return picture("tiff");
    if (isSvg(head))
        return picture("svg");
    if (isTransportStream(head))
        return media("mpegts");
    if (extension == "bmp" && head.starts_with("BM"))
        return picture("bmp");
    if (extension == "tga")
        return picture("tga");
    return framesOf(head);
}

} // namespace quarrydex
