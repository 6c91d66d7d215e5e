#include "QuarrydexApp/table/Kinds.h"

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/text/tr.h"

#include <array>
#include <unordered_map>

namespace quarrydex {

namespace {

struct Group {
    FileKind kind;
    std::string_view exts; ///< with a space between two
};

constexpr std::array groups = {
    Group{FileKind::audio,
          "mp3 flac wav aiff aif aifc m4a m4b ogg oga wma aac opus alac ape wv mka "
          "mid midi amr caf dsf dff mpc tta"},
    Group{FileKind::video,
          "mp4 mov mkv avi m4v wmv webm mpg mpeg flv ts m2ts mts vob ogv 3gp divx asf"},
    Group{FileKind::image, "jpg jpeg png gif heic heif avif tiff tif bmp webp raw cr2 cr3 nef arw "
                           "dng orf rw2 raf svg psd ico xcf ai eps tga jxl xpm"},
    Group{FileKind::document, "pdf doc docx xls xlsx ppt pptx txt md rtf pages numbers key csv tsv "
                              "odt ods odp tex epub mobi djvu ps log srt org rst xps"},
    Group{FileKind::archive,
          "zip rar 7z tar gz tgz bz2 tbz xz txz zst lz lzma cab z lz4 jar war cpio ar"},
    Group{FileKind::code, "c h cc cpp cxx hpp hxx py js mjs jsx tsx java kt rs go rb php pl pm lua "
                          "sh bash zsh fish swift m mm cs vb scala hs ml el lisp clj r jl sql html "
                          "htm css scss less xml json yaml yml toml ini cfg conf cmake mk po qml"},
    Group{FileKind::program,
          "exe msi app deb rpm appimage flatpak snap so dll dylib bin apk bat cmd "
          "com desktop ko o a"},
    Group{FileKind::font, "ttf otf ttc woff woff2 pfb pfa bdf pcf fon"},
    Group{FileKind::diskImage, "dmg iso img vdi vmdk vhd vhdx qcow2 toast cue"},
};

std::unordered_map<std::string_view, FileKind> kindsByExt() {
    std::unordered_map<std::string_view, FileKind> out;
    for (const Group& group : groups)
        for (std::string_view rest = group.exts; !rest.empty();) {
            const std::size_t end = rest.find(' ');
            out.emplace(rest.substr(0, end), group.kind);
            rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
        }
    return out;
}

std::string upperCased(std::string_view ext) {
    std::string out(ext);
    for (char& c : out)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
    return out;
}

std::string generalText(FileKind kind) {
    switch (kind) {
    case FileKind::folder:
        return tr("Folder");
    case FileKind::link:
        return tr("Link");
    case FileKind::audio:
        return tr("Audio");
    case FileKind::video:
        return tr("Video");
    case FileKind::image:
        return tr("Image");
    case FileKind::document:
        return tr("Document");
    case FileKind::archive:
        return tr("Archive");
    case FileKind::code:
        return tr("Source text");
    case FileKind::program:
        return tr("Program");
    case FileKind::font:
        return tr("Font");
    case FileKind::diskImage:
        return tr("Disk image");
    case FileKind::other:
        break;
    }
    return tr("File");
}

} // namespace

FileKind kindOf(std::uint8_t flags, std::string_view ext) {
    static const auto kinds = kindsByExt();
    if ((flags & EntryFlags::dir) != 0)
        return FileKind::folder;
    if ((flags & EntryFlags::symlink) != 0)
        return FileKind::link;
    const auto found = kinds.find(ext);
    return found == kinds.end() ? FileKind::other : found->second;
}

std::string_view symbolOf(FileKind kind) {
    switch (kind) {
    case FileKind::folder:
        return "folder";
    case FileKind::audio:
        return "music.note";
    case FileKind::video:
        return "film";
    case FileKind::image:
        return "photo";
    case FileKind::document:
    case FileKind::code:
        return "doc.text";
    case FileKind::archive:
        return "archivebox";
    case FileKind::diskImage:
        return "externaldrive";
    case FileKind::program:
        return "gearshape";
    case FileKind::link:
    case FileKind::font:
    case FileKind::other:
        break;
    }
    return "doc";
}

KindStyle kindStyleOf(std::string_view stored) {
    return stored == "general" ? KindStyle::general : KindStyle::exact;
}

std::string kindText(FileKind kind, std::string_view ext, KindStyle style) {
    const bool hasType = kind != FileKind::folder && kind != FileKind::link && !ext.empty();
    if (style == KindStyle::general || !hasType)
        return generalText(kind);
    // Translators: the kind of a file by its type, for example "MP3 · Audio"
    return tr("{type} · {kind}", {{"type", upperCased(ext)}, {"kind", generalText(kind)}});
}

} // namespace quarrydex
