/// What it costs to find identical files, beside programs that do nothing else.
#include "QuarrydexAudio/dupes/DuplicateFinder.h"
#include "QuarrydexAudio/dupes/FileHash.h"
#include "QuarrydexAudio/dupes/Hasher.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/Random.h"
#include "benchmarks/support/TempFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace quarrydex::bench {

namespace {

constexpr std::size_t rounds = 5;
constexpr std::size_t smallFiles = 2000;
constexpr std::size_t bigFiles = 50;
constexpr std::size_t bigSize = std::size_t{24} << 20;
constexpr std::uintmax_t spaceNeeded = std::uintmax_t{3} << 30;

std::string noise(std::size_t size, std::uint64_t seed) {
    Random random(seed);
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i + 8 <= size; i += 8)
        storeLE<std::uint64_t>(bytes.data() + i, random.next());
    return bytes;
}

/// A folder of about 1.3 GB in which half of the small files and two fifths of the big ones have a
/// copy, and three tenths of the big ones differ from others of their size in the middle alone.
/// Removed with the object.
class MusicBox {
  public:
    /// Nothing where there is no room for it.
    static std::unique_ptr<MusicBox> make() {
        std::error_code error;
        const std::filesystem::path temp = std::filesystem::temp_directory_path(error);
        if (error || std::filesystem::space(temp, error).available < spaceNeeded || error)
            return nullptr;
        auto box = std::unique_ptr<MusicBox>(new MusicBox);
        return box->folder_.isMade() ? std::move(box) : nullptr;
    }

    [[nodiscard]] const std::string& folder() const { return folder_.path(); }

    [[nodiscard]] const std::vector<std::string>& big() const { return big_; }

    /// False when writing failed.
    [[nodiscard]] bool isWhole() const { return isWhole_; }

  private:
    MusicBox() {
        if (!folder_.isMade())
            return;
        Random random(1);
        for (std::size_t i = 0; i < smallFiles; ++i) {
            if (i % 100 == 0)
                std::filesystem::create_directory(folderOfSmall(i));
            // Every second file is the copy of the one before; few sizes, so that most meet others.
            const std::uint64_t seed = i % 4 == 1 ? i : i + 1;
            const std::size_t size = 4096 * (1 + seed * 7919 % 24);
            write(folderOfSmall(i) + "/" + std::to_string(i) + ".mp3", noise(size, seed));
        }
        std::string bytes;
        for (std::size_t i = 0; i < bigFiles; ++i) {
            const bool isCopy = i < 20 && i % 2 == 1;
            const bool isVariant = i >= 20 && i < 35 && i % 5 != 0;
            if (!isCopy && !isVariant)
                bytes = noise(bigSize + (i < 35 ? 0 : i), i + 1);
            if (isVariant)
                bytes[bytes.size() / 2] = static_cast<char>(i);
            big_.push_back(folder_.path(std::to_string(i) + ".wav"));
            write(big_.back(), bytes);
        }
    }

    [[nodiscard]] std::string folderOfSmall(std::size_t i) const {
        return folder_.path(std::to_string(i / 100));
    }

    void write(const std::string& path, const std::string& bytes) {
        std::ofstream out(path, std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.close();
        isWhole_ = isWhole_ && out.good();
    }

    TempFolder folder_;
    std::vector<std::string> big_;
    bool isWhole_ = true;
};

std::shared_ptr<VolumeIndex> catalogueOf(const std::string& folder) {
    auto index = std::make_shared<VolumeIndex>(1U << 16, 1U << 22);
    const std::string roots[] = {folder};
    index->scan(roots, static_cast<int>(processorCount()));
    return index;
}

/// The identical stages, from the names to the groups, with the scan of the folder before.
std::size_t findIdentical(const std::string& folder) {
    DuplicateFinder::Options options;
    options.stages = {DupStage::size, DupStage::quickHash, DupStage::fullHash};
    return DuplicateFinder({catalogueOf(folder)}, options).run().size();
}

void compareWith(Report& report,
                 const MusicBox& box,
                 const std::string& program,
                 std::vector<std::string> arguments,
                 double goal) {
    const std::string step = "identical files of " + std::to_string(smallFiles + bigFiles);
    std::string anchor = program;
    for (const std::string& argument : arguments)
        if (argument == "-Q")
            anchor += " -Q";
    const std::string path = programInPath(program);
    if (path.empty()) {
        report.skip(step + " (" + anchor + ")", program + " is not installed");
        return;
    }
    arguments.insert(arguments.begin(), path);
    arguments.push_back(box.folder());
    bool works = true;
    const auto [ours, theirs] = alternate(
        rounds, [&] { keep(findIdentical(box.folder())); },
        [&] { works = runProgram(arguments) == 0 && works; });
    if (!works) {
        report.skip(step + " (" + anchor + ")", program + " fails here");
        return;
    }
    report.row({.step = step,
                .ours = ours.wallMs,
                .anchor = theirs.wallMs,
                .anchorName = anchor,
                .goal = goal});
    report.row({.step = "the same, processor time",
                .ours = ours.cpuMs,
                .anchor = theirs.cpuMs,
                .anchorName = anchor});
}

/// Open, read and hash, with nothing asked of the file.
void hashBare(const std::string& path, std::vector<char>& buffer) {
    const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    Hasher hasher;
    for (ssize_t n; (n = ::read(fd.get(), buffer.data(), buffer.size())) > 0;)
        hasher.update(buffer.data(), static_cast<std::size_t>(n));
    keep(hasher.digest());
}

void compareHashing(Report& report, const MusicBox& box) {
    std::vector<char> buffer(FileHash::fullRead);
    const FileHash hash;
    const auto [ours, bare] = alternate(
        rounds,
        [&] {
            for (const std::string& path : box.big())
                keep(hash.full(path, std::filesystem::file_size(path)));
        },
        [&] {
            for (const std::string& path : box.big())
                hashBare(path, buffer);
        });
    report.row({.step = "full hash of cached files, 1 thread",
                .ours = ours.wallMs,
                .anchor = bare.wallMs,
                .anchorName = "bare BLAKE3 loop",
                .goal = 1 / 0.9});
}

} // namespace

QDX_BENCH(duplicates) {
    const std::unique_ptr<MusicBox> box = MusicBox::make();
    if (!box || !box->isWhole()) {
        report.skip("identical files", "no 3 GiB of room in the temporary folder");
        return;
    }
    compareHashing(report, *box);
    compareWith(report, *box, "jdupes", {"-r", "-q"}, 0.6);
    compareWith(report, *box, "jdupes", {"-r", "-q", "-Q"}, 0);
    compareWith(report, *box, "rmlint", {"-o", "fdupes:stdout", "-T", "df"}, 0);
}

} // namespace quarrydex::bench
