/// Any bytes in an ".idx" file: what is loaded can be read, searched, put in order and validated
/// without reading outside.
///
/// An input is a list of changes to a sound file: where (4 bytes), how many bytes (1), the bytes.
/// So most inputs get past the checks of the header. One that begins with 0xFF is the file itself.
#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/catalog/CacheFile.h"
#include "QuarrydexCore/catalog/LoadedCatalog.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <unistd.h>

using namespace quarrydex;

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// A file that is gone with the program.
const std::string& scratchPath() {
    static const std::string path = [] {
        std::string made = std::filesystem::temp_directory_path() / "quarrydex-fuzz-XXXXXX";
        require(::mkdtemp(made.data()) != nullptr);
        static std::string folder = made;
        std::atexit([] {
            ::unlink((folder + "/a.idx").c_str());
            ::rmdir(folder.c_str());
        });
        return made + "/a.idx";
    }();
    return path;
}

/// A small sound catalogue with all its orders.
std::string soundFile() {
    fidx* store = fidx_new(200, 10'000);
    const auto index = VolumeIndex::adopting(store, 1, {});
    for (std::uint32_t i = 0; i < 60; ++i) {
        fidx_listing listing;
        const bool isFolder = i % 7 == 0;
        const auto flags = static_cast<std::uint8_t>((isFolder ? EntryFlags::dir : 0) |
                                                     (i == 0 ? EntryFlags::root : 0));
        listing.records.push_back({i * std::uint64_t{100}, 0, i, 60 - i, flags});
        listing.names = (i == 0 ? "/root" : "File" + std::to_string(i % 9) + ".mp3");
        listing.names.push_back('\0');
        const std::uint32_t first = 0;
        require(fidx_append(store, i == 0 ? noParent : (i - 1) / 7 * 7, listing, &first, 1) == i);
    }
    for (SortKey key : allSortKeys)
        index->rebuildPermutation(key);
    index->change(std::vector<EntryChange>{{9, 1, 2, 3}});
    index->save(scratchPath(), {});
    return CacheFile::read(scratchPath())->bytes;
}

std::string fileOf(const std::uint8_t* data, std::size_t size) {
    static const std::string sound = soundFile();
    if (size > 0 && data[0] == 0xFF)
        return {reinterpret_cast<const char*>(data) + 1, size - 1};
    std::string bytes = sound;
    while (size > 5) {
        // Either in the header, or near the beginning of a section: the rest is padding.
        const auto where = loadLE<std::uint32_t>(data);
        const std::size_t at = (where % 17) * 16'384 + (where / 17) % 1'672;
        const std::size_t count = std::min<std::size_t>(data[4] % 16, size - 5);
        if (at + count <= bytes.size())
            std::copy_n(data + 5, count, bytes.begin() + static_cast<std::ptrdiff_t>(at));
        data += 5 + count;
        size -= 5 + count;
    }
    return bytes;
}

void readEverything(VolumeIndex& index) {
    std::size_t bytes = 0;
    HitSet hits{BitWords(bitWords(index.count())), index.count(), index.count()};
    fillBits(hits.bits, index.count());
    for (EntryId id = 0; id < index.count(); ++id)
        bytes += index.name(id).size() + index.foldedName(id).size() + index.path(id).size() +
                 index.ext(id).value_or("").size() + index.flags(id);
    require(bytes < SIZE_MAX);
    static_cast<void>(index.directories(index.count()));
    for (SortKey key : allSortKeys)
        for (const bool descending : {false, true})
            for (const std::size_t limit : {std::size_t{3}, hits.count})
                require(
                    index
                        .ordered(hits, key,
                                 {.descending = descending, .limit = limit, .directSortLimit = 0})
                        .size() <= limit);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = fileOf(data, size);
    {
        const Fd file(
            ::open(scratchPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        require(file && writeAt(file.get(), bytes.data(), bytes.size(), 0));
    }
    static_cast<void>(VolumeIndex::peek(scratchPath()));
    auto loaded = VolumeIndex::load(scratchPath(), {}, 200, 10'000);
    if (!loaded)
        return 0;
    VolumeIndex& index = *loaded->index;
    readEverything(index);
    const bool isSound = index.validate();
    readEverything(index);
    for (SortKey key : allSortKeys)
        index.rebuildPermutation(key);
    readEverything(index);
    require(!isSound || index.validate());
    return 0;
}
