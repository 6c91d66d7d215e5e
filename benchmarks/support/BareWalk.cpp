#include "benchmarks/support/BareWalk.h"

#include "QuarrydexCore/base/Fd.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex::bench {

namespace {

constexpr std::size_t bufferBytes = 262'144;

class Walk {
  public:
    explicit Walk(const std::string& root) : jobs_{root} {}

    void work() {
        const auto buffer = std::make_unique<char[]>(bufferBytes);
        std::vector<std::string> found;
        std::size_t seen = 0;
        for (std::string path; take(path);) {
            seen += readFolder(path, buffer.get(), found);
            finish(found);
        }
        seen_ += seen;
    }

    [[nodiscard]] std::size_t seen() const { return seen_; }

  private:
    bool take(std::string& out) {
        std::unique_lock hold(lock_);
        changed_.wait(hold, [&] { return !jobs_.empty() || unfinished_ == 0; });
        if (jobs_.empty())
            return false;
        out = std::move(jobs_.back());
        jobs_.pop_back();
        return true;
    }

    void finish(std::vector<std::string>& found) {
        const std::lock_guard hold(lock_);
        unfinished_ += found.size();
        for (std::string& path : found)
            jobs_.push_back(std::move(path));
        for (std::size_t i = 1; i < found.size(); ++i)
            changed_.notify_one();
        found.clear();
        if (--unfinished_ == 0)
            changed_.notify_all();
    }

    static std::size_t
    readFolder(const std::string& path, char* buffer, std::vector<std::string>& found) {
        const Fd folder(
            ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
        std::size_t seen = 0;
        for (ssize_t bytes = 0; folder;) {
            bytes = ::getdents64(folder.get(), buffer, bufferBytes);
            if (bytes <= 0)
                break;
            for (ssize_t at = 0; at < bytes;) {
                const auto& entry = *reinterpret_cast<const dirent64*>(buffer + at);
                at += entry.d_reclen;
                const std::string_view name = entry.d_name;
                if (name == "." || name == "..")
                    continue;
                ++seen;
                struct statx st;
                if (::statx(folder.get(), entry.d_name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                            STATX_BASIC_STATS | STATX_BTIME, &st) == 0 &&
                    S_ISDIR(st.stx_mode) && (st.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0)
                    found.push_back(path + "/" + entry.d_name);
            }
        }
        return seen;
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::string> jobs_;
    std::size_t unfinished_ = 1;
    std::atomic<std::size_t> seen_ = 0;
};

} // namespace

std::size_t bareWalk(const std::string& root, unsigned threads) {
    Walk walk(root);
    std::vector<std::thread> others;
    for (unsigned i = 1; i < threads; ++i)
        others.emplace_back([&] { walk.work(); });
    walk.work();
    for (std::thread& other : others)
        other.join();
    return walk.seen();
}

} // namespace quarrydex::bench
