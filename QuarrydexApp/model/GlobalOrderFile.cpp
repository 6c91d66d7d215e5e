#include "QuarrydexApp/model/GlobalOrder.h"
#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/base/Checksum.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/ParallelFor.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

// docs/formats/ord.md has the bytes.

constexpr std::uint64_t magic = 0x3144524F58445251; ///< "QRDXORD1"

struct FileHeader {
    std::uint64_t magic;
    std::uint64_t volumes;
    std::uint64_t rows;
};

static_assert(sizeof(FileHeader) == 24);

struct FileVolume {
    std::uint64_t storeID;
    std::uint64_t k;
    std::uint64_t names;
};

static_assert(sizeof(FileVolume) == 24);

constexpr std::size_t rowsPerPiece = 131'072;

constexpr std::uint64_t rowsOffset(std::uint64_t volumes) {
    return sizeof(FileHeader) + volumes * sizeof(FileVolume);
}

constexpr std::uint64_t wordsOffset(std::uint64_t volumes, std::uint64_t rows) {
    return rowsOffset(volumes) + rows * sizeof(Row);
}

constexpr std::uint64_t checksumOffset(std::uint64_t volumes, std::uint64_t rows) {
    return wordsOffset(volumes, rows) + bitWords(rows) * sizeof(std::uint64_t);
}

/// An order in its file. Every step reads on and adds to the checksum.
class OrderFile {
  public:
    explicit OrderFile(const std::string& path)
        : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}

    /// True for the header of an order of so many volumes in a file of the right length.
    [[nodiscard]] bool readHeader(std::size_t volumes);

    /// Number of rows; the file is long enough for them.
    [[nodiscard]] std::size_t rows() const { return header_.rows; }

    [[nodiscard]] bool readVolumes(std::span<FileVolume> out) { return read(out); }

    /// The next rows, no more than a piece.
    [[nodiscard]] bool readRows(std::span<Row> out) { return read(out); }

    /// What follows the last rows: the bits of equal names, and the checksum, which must be right.
    [[nodiscard]] bool readEnd(BitWords& equal);

  private:
    template <typename T> [[nodiscard]] bool read(std::span<T> out) {
        if (!readAt(file_.get(), out.data(), out.size_bytes(), at_))
            return false;
        at_ += out.size_bytes();
        sum_ = checksum64(out.data(), out.size_bytes(), sum_);
        return true;
    }

    Fd file_;
    FileHeader header_{};
    std::uint64_t at_ = 0;
    std::uint64_t sum_ = 0;
};

bool OrderFile::readHeader(std::size_t volumes) {
    struct stat status {};

    if (!file_ || ::fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    return read(std::span(&header_, 1)) && header_.magic == magic && header_.volumes == volumes &&
           header_.rows <= size / sizeof(Row) &&
           size == checksumOffset(volumes, header_.rows) + sizeof(std::uint64_t);
}

bool OrderFile::readEnd(BitWords& equal) {
    std::uint64_t checksum = 0;
    equal.resize(bitWords(rows()));
    return read(std::span(equal)) && readAt(file_.get(), &checksum, sizeof checksum, at_) &&
           checksum == sum_;
}

/// Takes rows one by one as numbers. They are whole if each entry but the roots came once.
class RowCollector {
  public:
    RowCollector(GlobalOrder::Indexes indexes,
                 std::span<const std::uint32_t> ks,
                 const RowNumbers& numbers)
        : ks_(ks), numbers_(numbers), seen_(numbers.end() / 64) {
        for (std::uint32_t v = 0; v < ks.size(); ++v) {
            left_ += ks[v];
            for (EntryId id = 0; id < ks[v]; ++id)
                if ((indexes[v]->flags(id) & EntryFlags::root) != 0)
                    static_cast<void>(takes(makeRow(v, id)));
        }
    }

    /// Entries that have not come yet.
    [[nodiscard]] std::size_t left() const { return left_; }

    /// False for a row that is none, or came before.
    [[nodiscard]] bool takes(Row row) {
        const std::uint32_t volume = rowVolume(row);
        if (volume >= ks_.size() || rowEntry(row) >= ks_[volume])
            return false;
        number_ = numbers_.first(volume) + rowEntry(row);
        if (testBit(seen_, number_))
            return false;
        setBit(seen_, number_);
        --left_;
        return true;
    }

    /// Of the row that was taken last.
    [[nodiscard]] std::uint32_t number() const { return number_; }

  private:
    std::span<const std::uint32_t> ks_;
    const RowNumbers& numbers_;
    BitWords seen_;
    std::size_t left_ = 0;
    std::uint32_t number_ = 0;
};

/// The rest of the file as an order of numbers, or nothing when it is none.
std::optional<PermEntry>
readOrder(OrderFile& file, RowCollector collector, const GlobalOrder::IsStale& isStale) {
    if (file.rows() != collector.left())
        return std::nullopt;
    std::vector<std::uint32_t> ids;
    ids.reserve(file.rows());
    std::vector<Row> piece;
    while (ids.size() < file.rows()) {
        if (isStale && isStale())
            return std::nullopt;
        piece.resize(std::min(rowsPerPiece, file.rows() - ids.size()));
        if (!file.readRows(piece))
            return std::nullopt;
        for (Row row : piece) {
            if (!collector.takes(row))
                return std::nullopt;
            ids.push_back(collector.number());
        }
    }
    BitWords equal;
    if (!file.readEnd(equal))
        return std::nullopt;
    PermEntry order;
    order.perm = Perm(std::move(ids));
    order.equalToPrevious = std::make_shared<const BitWords>(std::move(equal));
    return order;
}

/// Puts a file's bytes together, adding up the checksum.
class OrderBytes {
  public:
    explicit OrderBytes(std::size_t size) { bytes_.reserve(size); }

    template <typename T> void add(std::span<const T> values) {
        bytes_.append(reinterpret_cast<const char*>(values.data()), values.size_bytes());
        sum_ = checksum64(values.data(), values.size_bytes(), sum_);
    }

    [[nodiscard]] std::string finish() {
        bytes_.append(reinterpret_cast<const char*>(&sum_), sizeof sum_);
        return std::move(bytes_);
    }

  private:
    std::string bytes_;
    std::uint64_t sum_ = 0;
};

} // namespace

CacheFile GlobalOrder::persisted() const {
    OrderBytes bytes(checksumOffset(volumes_.size(), count()) + sizeof(std::uint64_t));
    const FileHeader header = {magic, volumes_.size(), count()};
    bytes.add(std::span(&header, 1));
    std::vector<FileVolume> volumes;
    for (const Volume& volume : volumes_)
        volumes.push_back({volume.storeID, volume.k, volume.names});
    bytes.add(std::span<const FileVolume>(volumes));
    for (std::size_t begin = 0; begin < count(); begin += rowsPerPiece) {
        const std::size_t n = std::min(rowsPerPiece, count() - begin);
        bytes.add(std::span<const Row>(rowsOf(order_.perm.ids().subspan(begin, n))));
    }
    bytes.add(std::span<const std::uint64_t>(*order_.equalToPrevious));
    return {bytes.finish()};
}

std::shared_ptr<const GlobalOrder>
GlobalOrder::load(const std::string& path, Indexes indexes, const IsStale& isStale) {
    OrderFile file(path);
    std::vector<FileVolume> saved(indexes.size());
    if (!file.readHeader(indexes.size()) || !file.readVolumes(saved))
        return nullptr;
    std::vector<Volume> volumes;
    std::vector<std::uint32_t> ks;
    for (std::size_t v = 0; v < saved.size(); ++v) {
        if (saved[v].storeID != indexes[v]->storeID() || saved[v].k > indexes[v]->count())
            return nullptr;
        ks.push_back(static_cast<std::uint32_t>(saved[v].k));
        volumes.push_back({indexes[v], saved[v].storeID, ks[v], saved[v].names});
    }
    std::optional<RowNumbers> numbers = RowNumbers::of(ks);
    if (!numbers)
        return nullptr;
    std::optional<PermEntry> order = readOrder(file, RowCollector(indexes, ks, *numbers), isStale);
    if (!order)
        return nullptr;

    std::atomic<bool> areTheSame{true};
    parallelFor(volumes.size(), processorCount(), [&](std::size_t v) {
        if ((isStale && isStale()) || namesChecksum(*indexes[v], ks[v]) != volumes[v].names)
            areTheSame = false;
    });
    if (!areTheSame)
        return nullptr;
    return std::shared_ptr<const GlobalOrder>(
        new GlobalOrder(std::move(volumes), *std::move(numbers), *std::move(order)));
}

} // namespace quarrydex
