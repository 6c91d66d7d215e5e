#include "tests/support/CaseBlindFs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

std::string folded(std::string_view name) {
    std::string out(name);
    std::ranges::transform(out, out.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return out;
}

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

/// One request and the answer that is being made.
struct CaseBlindFs::Call {
    const fuse_in_header& header;
    std::string_view body;
    std::string reply;

    template <typename T> T argument() const {
        T out{};
        std::memcpy(&out, body.data(), std::min(sizeof out, body.size()));
        return out;
    }

    /// The text behind `skipped` bytes.
    [[nodiscard]] std::string_view text(std::size_t skipped) const {
        const std::string_view rest = body.substr(std::min(skipped, body.size()));
        return rest.substr(0, rest.find('\0'));
    }

    template <typename T> void put(const T& value) {
        reply.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
};

std::string CaseBlindFs::lack() {
    if (::geteuid() != 0)
        return "mounting needs root";
    return Fd(::open("/dev/fuse", O_RDWR | O_CLOEXEC)) ? "" : "there is no FUSE here";
}

CaseBlindFs::CaseBlindFs(std::string folder)
    : folder_(std::move(folder)), device_(::open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
    ::mkdir(folder_.c_str(), 0755);
    const std::string options =
        "fd=" + std::to_string(device_.get()) + ",rootmode=40000,user_id=0,group_id=0,allow_other";
    if (!device_ || ::mount("caseblind", folder_.c_str(), "fuse.caseblind", MS_NOSUID | MS_NODEV,
                            options.c_str()) != 0)
        fail(folder_);
    server_ = std::thread([this] { serve(); });
}

CaseBlindFs::~CaseBlindFs() {
    ::umount2(folder_.c_str(), MNT_DETACH);
    server_.join();
}

void CaseBlindFs::addFile(const std::string& name, std::uint64_t size) {
    const MutexLock held(lock_);
    entries_[folded(name)] = {name, S_IFREG | 0644, size};
}

void CaseBlindFs::addFolder(const std::string& name) {
    const MutexLock held(lock_);
    entries_[folded(name)] = {name, S_IFDIR | 0755, 0};
}

std::map<std::string, std::uint64_t> CaseBlindFs::listing() const {
    const MutexLock held(lock_);
    std::map<std::string, std::uint64_t> out;
    for (const auto& [key, entry] : entries_)
        out[entry.name] = entry.size;
    return out;
}

/// Until the file system is unmounted, which ends the reading.
void CaseBlindFs::serve() {
    std::string request(std::size_t{1} << 18, '\0');
    for (;;) {
        const ssize_t size = ::read(device_.get(), request.data(), request.size());
        if (size < 0 && (errno == EINTR || errno == ENOENT || errno == EAGAIN))
            continue;
        if (size < static_cast<ssize_t>(sizeof(fuse_in_header)))
            return;
        fuse_in_header header;
        std::memcpy(&header, request.data(), sizeof header);
        Call call{
            header,
            std::string_view(request.data(), static_cast<std::size_t>(size)).substr(sizeof header),
            {}};
        const MutexLock held(lock_);
        answer(call);
    }
}

void CaseBlindFs::answer(Call& call) {
    int error = 0;
    switch (call.header.opcode) {
    case FUSE_FORGET:
    case FUSE_BATCH_FORGET:
    case FUSE_INTERRUPT:
        return; // these have no answer
    case FUSE_INIT: {
        fuse_init_out out{};
        out.major = FUSE_KERNEL_VERSION;
        out.minor = 31;
        out.max_write = 65536;
        call.put(out);
        break;
    }
    case FUSE_LOOKUP:
        error = lookUp(call, call.text(0));
        break;
    case FUSE_GETATTR:
    case FUSE_SETATTR:
        error = attributes(call, call.header.nodeid);
        break;
    case FUSE_MKNOD:
        error = make(call, call.text(sizeof(fuse_mknod_in)), call.argument<fuse_mknod_in>().mode);
        break;
    case FUSE_MKDIR:
        error = make(call, call.text(sizeof(fuse_mkdir_in)),
                     S_IFDIR | call.argument<fuse_mkdir_in>().mode);
        break;
    case FUSE_UNLINK:
    case FUSE_RMDIR:
        error = remove(call.text(0));
        break;
    case FUSE_RENAME: {
        const std::string_view from = call.text(sizeof(fuse_rename_in));
        error = rename(from, call.text(sizeof(fuse_rename_in) + from.size() + 1));
        break;
    }
    case FUSE_OPEN:
    case FUSE_OPENDIR:
        call.put(fuse_open_out{});
        break;
    case FUSE_READDIR:
        error = list(call);
        break;
    case FUSE_RELEASE:
    case FUSE_RELEASEDIR:
        break;
    default:
        error = ENOSYS; // the exclusive rename and hard links among them
    }
    if (error != 0)
        call.reply.clear();
    const fuse_out_header head{static_cast<std::uint32_t>(sizeof head + call.reply.size()), -error,
                               call.header.unique};
    call.reply.insert(0, reinterpret_cast<const char*>(&head), sizeof head);
    (void)!::write(device_.get(), call.reply.data(), call.reply.size());
}

bool CaseBlindFs::describe(std::uint64_t node, fuse_attr& out) const {
    out = {};
    out.ino = node;
    out.nlink = 1;
    out.blksize = 4096;
    out.mode = S_IFDIR | 0755;
    if (node == FUSE_ROOT_ID)
        return true;
    const auto spelling = spellings_.find(node);
    if (spelling == spellings_.end())
        return false;
    const auto entry = entries_.find(folded(spelling->second));
    if (entry == entries_.end())
        return false;
    out.mode = entry->second.mode;
    out.size = entry->second.size;
    return true;
}

int CaseBlindFs::lookUp(Call& call, std::string_view name) {
    if (call.header.nodeid != FUSE_ROOT_ID || !entries_.contains(folded(name)))
        return ENOENT;
    auto known = std::ranges::find(spellings_, name, [](const auto& s) { return s.second; });
    if (known == spellings_.end())
        known = spellings_.emplace(++lastNode_, name).first;
    fuse_entry_out out{};
    out.nodeid = known->first;
    if (!describe(known->first, out.attr))
        return ENOENT;
    call.put(out);
    return 0;
}

int CaseBlindFs::attributes(Call& call, std::uint64_t node) {
    fuse_attr_out out{};
    if (!describe(node, out.attr))
        return ENOENT;
    call.put(out);
    return 0;
}

int CaseBlindFs::make(Call& call, std::string_view name, std::uint32_t mode) {
    if (!entries_.emplace(folded(name), Entry{std::string(name), mode, 0}).second)
        return EEXIST;
    return lookUp(call, name);
}

int CaseBlindFs::remove(std::string_view name) {
    return entries_.erase(folded(name)) != 0 ? 0 : ENOENT;
}

int CaseBlindFs::rename(std::string_view from, std::string_view to) {
    const auto found = entries_.find(folded(from));
    if (found == entries_.end())
        return ENOENT;
    Entry entry = found->second;
    entry.name = to;
    entries_.erase(found);
    entries_[folded(to)] = std::move(entry); // in place of what had the name
    std::erase_if(spellings_, [&](const auto& s) { return s.second == to; });
    for (auto& [node, spelling] : spellings_)
        if (folded(spelling) == folded(from))
            spelling = to;
    return 0;
}

int CaseBlindFs::list(Call& call) {
    const auto asked = call.argument<fuse_read_in>();
    std::uint64_t position = 0;
    if (call.header.nodeid != FUSE_ROOT_ID)
        return 0;
    for (const auto& [key, entry] : entries_) {
        if (++position <= asked.offset)
            continue;
        fuse_dirent head{};
        head.ino = 1;
        head.off = position;
        head.namelen = static_cast<std::uint32_t>(entry.name.size());
        head.type = (entry.mode & S_IFMT) >> 12;
        if (call.reply.size() + FUSE_DIRENT_ALIGN(FUSE_NAME_OFFSET + entry.name.size()) >
            asked.size)
            break;
        call.reply.append(reinterpret_cast<const char*>(&head), FUSE_NAME_OFFSET);
        call.reply.append(entry.name);
        call.reply.resize(FUSE_DIRENT_ALIGN(call.reply.size()));
    }
    return 0;
}

} // namespace quarrydex
