#include "tests/support/LoopImage.h"

#include "tests/support/TempTree.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include <unistd.h>

namespace quarrydex {

namespace {

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

bool succeeds(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string findLack() {
    if (std::string lack = mountLack(); !lack.empty())
        return lack;
    if (!succeeds("command -v mkfs.ext4"))
        return "mkfs.ext4 is not installed";
    try {
        TempTree tree;
        LoopImage image(tree.path("image"));
        image.mount(tree.path("mnt"));
        return {};
    } catch (const std::runtime_error&) {
        return "loop devices cannot be mounted here";
    }
}

} // namespace

bool privilegesAreRequired() {
    const char* value = std::getenv("QDX_REQUIRE_PRIVILEGED");
    return value != nullptr && std::string_view(value) == "1";
}

std::string mountLack() {
    return ::geteuid() == 0 ? "" : "mounting needs root";
}

std::string LoopImage::lack() {
    static const std::string lack = findLack();
    return lack;
}

LoopImage::LoopImage(std::string file, const std::string& arguments, int megabytes)
    : file_(std::move(file)) {
    if (!succeeds("truncate -s " + std::to_string(megabytes) + "M " + quoted(file_)) ||
        !succeeds("mkfs.ext4 -q " + arguments + " " + quoted(file_)))
        throw std::runtime_error("no file system could be made in " + file_);
}

LoopImage::~LoopImage() {
    while (!mounted_.empty())
        if (!unmount(std::string(mounted_.back()), "-l")) {
            std::fprintf(stderr, "%s stays mounted\n", mounted_.back().c_str());
            return;
        }
}

void LoopImage::mount(const std::string& folder, const std::string& options) {
    std::filesystem::create_directories(folder);
    if (!succeeds("mount -o loop" + (options.empty() ? "" : "," + options) + " " + quoted(file_) +
                  " " + quoted(folder)))
        throw std::runtime_error(file_ + " cannot be mounted");
    mounted_.push_back(folder);
}

bool LoopImage::unmount(const std::string& folder, const std::string& options) {
    if (!succeeds("umount " + options + " " + quoted(folder)))
        return false;
    const auto found = std::ranges::find(mounted_, folder);
    if (found != mounted_.end())
        mounted_.erase(found);
    return true;
}

} // namespace quarrydex
