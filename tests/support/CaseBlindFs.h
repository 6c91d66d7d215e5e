/// A file system that finds names in any case (ASCII only), as those of other systems do, with what
/// makes renaming on it hard: it knows no exclusive rename and no hard links, and gives an object
/// another inode number for every spelling that is asked for.
///
/// It is one folder in memory, served over the kernel's FUSE device by a thread of the object's
/// own. Threads: any, under one lock. A failed mount throws std::system_error, which fails the
/// test.
#pragma once

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Mutex.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <thread>

struct fuse_attr;
struct fuse_in_header;

namespace quarrydex {

class CaseBlindFs {
  public:
    /// Why none can be mounted; empty when one can.
    [[nodiscard]] static std::string lack();

    explicit CaseBlindFs(std::string folder);
    ~CaseBlindFs();
    CaseBlindFs(const CaseBlindFs&) = delete;
    CaseBlindFs& operator=(const CaseBlindFs&) = delete;

    /// `size` marks the object, so that it is known under another name.
    void addFile(const std::string& name, std::uint64_t size);
    void addFolder(const std::string& name);

    /// What the folder lists: size by name, folders have 0.
    [[nodiscard]] std::map<std::string, std::uint64_t> listing() const;

  private:
    struct Entry {
        std::string name;
        std::uint32_t mode{};
        std::uint64_t size{};
    };

    struct Call;

    void serve();
    void answer(Call& call) QDX_REQUIRES(lock_);
    int lookUp(Call& call, std::string_view name) QDX_REQUIRES(lock_);
    int attributes(Call& call, std::uint64_t node) QDX_REQUIRES(lock_);
    int make(Call& call, std::string_view name, std::uint32_t mode) QDX_REQUIRES(lock_);
    int remove(std::string_view name) QDX_REQUIRES(lock_);
    int rename(std::string_view from, std::string_view to) QDX_REQUIRES(lock_);
    int list(Call& call) QDX_REQUIRES(lock_);
    [[nodiscard]] bool describe(std::uint64_t node, fuse_attr& out) const QDX_REQUIRES(lock_);

    const std::string folder_;
    Fd device_;
    mutable Mutex lock_;
    std::map<std::string, Entry> entries_ QDX_GUARDED_BY(lock_);           ///< by folded name
    std::map<std::uint64_t, std::string> spellings_ QDX_GUARDED_BY(lock_); ///< by node
    std::uint64_t lastNode_ QDX_GUARDED_BY(lock_) = 1;                     ///< 1 is the folder
    std::thread server_;
};

} // namespace quarrydex
