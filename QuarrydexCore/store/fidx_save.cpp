#include "QuarrydexCore/base/AtomicFile.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/store/fidx_format.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <cerrno>
#include <optional>

#include <fcntl.h>
#include <sys/mman.h>

namespace quarrydex {

namespace {

using SectionBytes = std::array<const void*, fidx_sections>;

/// Sections one after the other, each at the next multiple of the alignment. The lengths are those
/// of memory, so nothing here can overflow.
void placeSections(fidx_header& header) {
    std::uint64_t offset = fidx_section_align;
    for (fidx_section& section : header.sections) {
        section.offset = offset;
        offset += *fidx_aligned(section.length);
    }
    header.fileSize = offset;
}

void describeOrders(fidx_header& header, const fidx_saved_orders& orders) {
    fidx_info& info = header.info;
    for (std::size_t i = 0; i < orders.size(); ++i) {
        info.orderCount[i] = orders[i].count;
        info.orderKey[i] = orders[i].key;
        info.movedWords[i] = orders[i].movedWords;
        info.orderOffset[i] = header.sections[fidx_section_orders + i].offset;
        info.movedOffset[i] = header.sections[fidx_section_moved + i].offset;
    }
    info.zero = 0;
}

fidx_header headerOf(const fidx& store, const fidx_info& info, const fidx_saved_orders& orders) {
    fidx_header header{};
    header.magic = fidx_magic;
    header.version = fidx_format_version;
    header.headerSize = sizeof header;
    header.info = info;
    header.count = fidx_count(&store);
    header.extCount = store.ext_count.load(std::memory_order_relaxed);
    header.nameBytes = fidx_name_bytes(&store);
    header.endMark = fidx_end_mark;
    const auto columns = fidx_column_lengths(header.count, header.extCount, header.nameBytes);
    for (std::size_t i = 0; i < columns.size(); ++i)
        header.sections[i].length = columns[i];
    for (std::size_t i = 0; i < orders.size(); ++i) {
        header.sections[fidx_section_orders + i].length = std::uint64_t{4} * orders[i].count;
        header.sections[fidx_section_moved + i].length = std::uint64_t{8} * orders[i].movedWords;
    }
    placeSections(header);
    describeOrders(header, orders);
    return header;
}

SectionBytes bytesOf(const fidx& store, const fidx_saved_orders& orders) {
    SectionBytes bytes{};
    const auto columns = fidx_column_places(store);
    std::copy(columns.begin(), columns.end(), bytes.begin());
    bytes[fidx_section_ext_names] = store.ext_names;
    for (std::size_t i = 0; i < orders.size(); ++i) {
        bytes[fidx_section_orders + i] = orders[i].ids;
        bytes[fidx_section_moved + i] = orders[i].moved;
    }
    return bytes;
}

/// The header comes last: a file that was not finished has none.
bool writeSnapshot(const char* path,
                   const fidx* store,
                   const fidx_header& header,
                   const SectionBytes& bytes) {
    AtomicFile file(path, 0600);
    if (!file.isOpen())
        return false;
    for (std::size_t i = 0; i < fidx_sections; ++i)
        if (header.sections[i].length > 0 &&
            !file.write(bytes[i], header.sections[i].length, header.sections[i].offset))
            return false;
    if (!file.setSize(header.fileSize) || !file.write(&header, sizeof header, 0))
        return false;
    if (fidx_damaged(store)) { // what was just written is in part zeros
        errno = EIO;
        return false;
    }
    return file.commit();
}

/// True when the file system can map its files at all: found out away from the columns.
bool canMap(int fd) {
    void* trial = ::mmap(nullptr, fidx_section_align, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0);
    if (trial == MAP_FAILED)
        return false;
    ::munmap(trial, fidx_section_align);
    return true;
}

} // namespace

bool fidx_map_columns(fidx* store, const fidx_header& header, int fd) {
    const auto places = fidx_column_places(*store);
    for (std::size_t i = 0; i < fidx_columns; ++i) {
        const auto [offset, length] = header.sections[i];
        if (length == 0)
            continue;
        // Never longer than the column: both end on the same page. Sections begin on a page of
        // every system that has pages of up to 16 KiB; where they are larger this fails.
        store->priv->guards[i].watch(places[i], length);
        if (!mapFileOver(places[i], length, fd, offset))
            return false;
    }
    return true;
}

int fidx_save(const fidx_edit& held,
              const char* path,
              fidx_info* info,
              std::uint32_t expected,
              const fidx_saved_orders& orders) {
    fidx* store = held.store();
    if (!fidx_may_write(path))
        return fidx_refused;
    if (fidx_count(store) != expected)
        return fidx_changed;
    const fidx_header header = headerOf(*store, *info, orders);
    if (!writeSnapshot(path, store, header, bytesOf(*store, orders)))
        return fidx_error;
    if (const Fd file(::open(path, O_RDONLY | O_CLOEXEC)); file && canMap(file.get()))
        (void)fidx_map_columns(store, header, file.get());
    *info = header.info;
    return fidx_ok;
}

int fidx_save(fidx* store,
              const char* path,
              fidx_info* info,
              std::uint32_t expected,
              const fidx_saved_orders& orders) {
    if (!fidx_may_write(path)) // a refusal need not wait for the store
        return fidx_refused;
    return fidx_save(fidx_edit(store), path, info, expected, orders);
}

} // namespace quarrydex
