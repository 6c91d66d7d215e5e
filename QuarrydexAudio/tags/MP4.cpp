#include "QuarrydexAudio/tags/MP4.h"

#include "QuarrydexAudio/tags/Atoms.h"
#include "QuarrydexAudio/tags/Figures.h"
#include "QuarrydexAudio/tags/ID3.h"
#include "QuarrydexAudio/tags/TagText.h"

#include <algorithm>
#include <string_view>

namespace quarrydex {

namespace {

// --- Decoder settings ---------------------------------------------------------------------------

std::uint16_t wholeKbps(std::uint32_t bitsPerSecond) {
    return clamped<std::uint16_t>(bitsPerSecond / 1000.0);
}

/// A tagged piece of an "esds" atom.
struct Descriptor {
    std::uint8_t tag{};
    Bytes contents;
    Bytes rest; ///< what follows it
};

/// REQUIRES: bytes are not empty.
Descriptor readDescriptor(Bytes bytes) {
    std::size_t length = 0;
    std::size_t at = 1;
    for (std::uint8_t group = 0x80; (group & 0x80) != 0 && at <= 4; ++at) {
        group = u8(bytes, at);
        length = length << 7 | (group & 0x7FU);
    }
    return {bytes[0], part(bytes, at, length), part(bytes, at + length)};
}

/// What is left of an elementary-stream descriptor behind its own fields.
Bytes innerDescriptors(Bytes contents) {
    const std::uint8_t flags = u8(contents, 2);
    std::size_t at = 3;
    if ((flags & 0x80) != 0)
        at += 2; // the stream it depends on
    if ((flags & 0x40) != 0)
        at += 1 + std::size_t{u8(contents, at)}; // an address
    if ((flags & 0x20) != 0)
        at += 2; // the stream that gives the time
    return part(contents, at);
}

/// The decoder-configuration descriptor, nothing when there is none.
Bytes findDecoderConfig(Bytes bytes) {
    constexpr std::uint8_t streamTag = 3;
    constexpr std::uint8_t decoderConfigTag = 4;
    while (!bytes.empty()) {
        const Descriptor descriptor = readDescriptor(bytes);
        if (descriptor.tag == decoderConfigTag)
            return descriptor.contents;
        bytes =
            descriptor.tag == streamTag ? innerDescriptors(descriptor.contents) : descriptor.rest;
    }
    return {};
}

void takeStreamDescriptor(Bytes esds, AudioMeta& into) {
    constexpr std::uint8_t mp3InMpeg2 = 0x69;
    constexpr std::uint8_t mp3InMpeg1 = 0x6B;
    const Bytes config = findDecoderConfig(part(esds, 4));
    const std::uint8_t objectType = u8(config, 0);
    if (objectType == mp3InMpeg2 || objectType == mp3InMpeg1)
        into.codec = AudioCodec::mp3;
    into.bitrateKbps = wholeKbps(u32be(config, 9));
}

void takeLosslessConfig(Bytes alac, AudioMeta& into) {
    const Bytes config = part(alac, 4);
    if (config.size() < 24)
        return;
    into.bits = config[5];
    into.channels = config[9];
    into.bitrateKbps = wholeKbps(u32be(config, 16));
    into.sampleRate = u32be(config, 20);
}

// --- Texts --------------------------------------------------------------------------------------

TagField itemField(FourCC type) {
    switch (type) {
    case code("\xA9nam"):
        return TagField::title;
    case code("\xA9"
              "ART"):
        return TagField::artist;
    case code("aART"):
        return TagField::albumArtist;
    case code("\xA9"
              "alb"):
        return TagField::album;
    case code("\xA9gen"):
        return TagField::genre;
    case code("\xA9"
              "day"):
        return TagField::year;
    default:
        return TagField::none;
    }
}

/// What an item with a name of its own holds.
TagField namedField(Bytes name) {
    for (std::string_view key : {"initialkey", "initial key", "key"})
        if (equalsIgnoringCase(charsOf(name), key))
            return TagField::key;
    return equalsIgnoringCase(charsOf(name), "bpm") ? TagField::tempo : TagField::none;
}

// --- The movie ----------------------------------------------------------------------------------

/// One walk through a "moov" atom.
class Movie {
  public:
    Movie(AtomReader& atoms, AudioMeta& into) : atoms_(atoms), into_(into) {}

    void read(Range moov) {
        atoms_.forEach(moov, [&](const Atom& atom) {
            if (atom.type == code("mvhd"))
                header(atom.contents);
            else if (atom.type == code("trak"))
                track(atom.contents);
            else if (atom.type == code("udta"))
                udta(atom.contents);
        });
    }

  private:
    void header(Range mvhd) {
        const Bytes bytes = atoms_.bytes(mvhd.first(32));
        const bool isLong = u8(bytes, 0) == 1;
        const std::uint32_t timeScale = u32be(bytes, isLong ? 20 : 12);
        const std::uint64_t duration = isLong ? u64be(bytes, 24) : u32be(bytes, 16);
        into_.durationMs = durationOf(static_cast<double>(duration), timeScale);
    }

    /// `track(bytes, atom, into:)`: a track that is no sound leaves the record as it is.
    void track(Range trak) {
        const Range mdia = atoms_.child(trak, code("mdia"));
        const Range handler = atoms_.child(mdia, code("hdlr"));
        if (fourCC(atoms_.bytes(handler.first(12)), 8) != code("soun"))
            return;
        const Range minf = atoms_.child(mdia, code("minf"));
        const Range stbl = atoms_.child(minf, code("stbl"));
        const Range stsd = atoms_.child(stbl, code("stsd"));
        if (const auto entry = atoms_.first(stsd.from(8)))
            sampleEntry(*entry);
    }

    void sampleEntry(const Atom& entry) {
        const Bytes fields = atoms_.bytes(entry.whole.first(36));
        into_.channels = clamped<std::uint8_t>(u16be(fields, 24));
        into_.bits = clamped<std::uint8_t>(u16be(fields, 26));
        into_.sampleRate = u32be(fields, 32) >> 16;
        switch (entry.type) {
        case code("alac"):
            into_.codec = AudioCodec::alac;
            takeLosslessConfig(settings(entry.whole, code("alac")), into_);
            break;
        case code("mp4a"):
            into_.codec = AudioCodec::aac;
            takeStreamDescriptor(settings(entry.whole, code("esds")), into_);
            break;
        default:
            into_.codec = AudioCodec::other;
            break;
        }
    }

    /// The contents of the atom with a decoder's settings in a sample entry. It follows the fixed
    /// fields, of which QuickTime has more in its later versions, or stands in a "wave" atom there.
    Bytes settings(Range entry, FourCC type) {
        constexpr std::uint64_t fixedFields = 36;
        constexpr std::uint64_t mostBytes = 1024;
        for (std::uint64_t more : {0, 16, 36}) {
            const Range children = entry.from(fixedFields + more);
            const Range direct = atoms_.child(children, type);
            const Range found = direct.isEmpty()
                                    ? atoms_.child(atoms_.child(children, code("wave")), type)
                                    : direct;
            if (!found.isEmpty())
                return atoms_.bytes(found.first(mostBytes));
        }
        return {};
    }

    /// `udta(bytes, atom, into:)`.
    void udta(Range udta) {
        const Range meta = atoms_.child(udta, code("meta"));
        const Range versioned = atoms_.child(meta.from(4), code("ilst"));
        TagSink sink(into_);
        atoms_.forEach(versioned.isEmpty() ? atoms_.child(meta, code("ilst")) : versioned,
                       [&](const Atom& atom) { item(atom, sink); });
        sink.finish();
    }

    void item(const Atom& atom, TagSink& sink) {
        switch (atom.type) {
        case code("gnre"): {
            const std::string_view genre = ID3::genre(std::size_t{number(atom)} - 1);
            if (!genre.empty())
                sink.set(TagField::genre, std::string(genre));
            break;
        }
        case code("tmpo"):
            into_.bpm10 = clamped<std::uint16_t>(number(atom) * 10);
            break;
        case code("----"): {
            const Range name = atoms_.child(atom.contents, code("name"));
            text(namedField(atoms_.bytes(name.from(4))), atom, sink);
            break;
        }
        default:
            text(itemField(atom.type), atom, sink);
            break;
        }
    }

    void text(TagField field, const Atom& item, TagSink& sink) {
        constexpr std::uint64_t typeAndLocale = 8;
        if (field == TagField::none)
            return;
        const Range data = atoms_.child(item.contents, code("data"));
        if (data.size() >= typeAndLocale)
            sink.set(field, decodeText(atoms_.bytes(data.from(typeAndLocale))));
    }

    /// The 16-bit number that an item holds; 0 when it holds none.
    std::uint16_t number(const Atom& item) {
        return u16be(atoms_.bytes(atoms_.child(item.contents, code("data")).first(10)), 8);
    }

    AtomReader& atoms_;
    AudioMeta& into_;
};

} // namespace

bool MP4::parse(const Reader& reader, AudioMeta& into) {
    // The first atom is a short one: the header behind it comes along.
    constexpr std::uint64_t firstHeaders = 48;
    AtomReader atoms(reader);
    atoms.readAheadTo(firstHeaders);
    bool hasMovie = false;
    std::uint64_t mediaBytes = 0;
    Range rest{0, reader.size()};
    for (int i = 0; i < mostAtoms && !rest.isEmpty(); ++i) {
        const auto atom = atoms.header(rest);
        if (!atom)
            break;
        if (atom->type == code("mdat")) {
            mediaBytes = atom->statedSize;
        } else if (atom->type == code("moov") && atom->statedSize <= largestMovie && !hasMovie) {
            hasMovie = true;
            atoms.readAheadTo(atom->whole.end);
            Movie(atoms, into).read(atom->contents);
        }
        rest = rest.from(atom->statedSize);
    }
    if (mediaBytes != 0 && into.durationMs != 0)
        into.bitrateKbps = meanKbps(mediaBytes, into.durationMs / 1000.0);
    return into.durationMs != 0;
}

} // namespace quarrydex
