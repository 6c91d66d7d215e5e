/// A file system in a file, to be mounted and unmounted by a test that runs as root.
///
///     QDX_NEEDS(LoopImage::lack());
///     LoopImage image(tree.path("image"), "-L LABEL");
///     image.mount(tree.path("mnt"));
///
/// Whatever is still mounted goes with the object. A failed call fails the test.
#pragma once

#include <string>
#include <vector>

/// Ends the test unless `lack`, which says what the machine does not permit, is empty. With
/// QDX_REQUIRE_PRIVILEGED=1 in the environment the lack is a failure.
#define QDX_NEEDS(lack)                                                                            \
    if (const std::string qdxLack = (lack); !qdxLack.empty()) {                                    \
        if (::quarrydex::privilegesAreRequired())                                                  \
            FAIL() << qdxLack;                                                                     \
        GTEST_SKIP() << "not run: " << qdxLack;                                                    \
    }                                                                                              \
    static_assert(true)

namespace quarrydex {

[[nodiscard]] bool privilegesAreRequired();

/// Why nothing can be mounted here; empty when it can.
[[nodiscard]] std::string mountLack();

class LoopImage {
  public:
    /// The same for images: loop devices and mkfs.ext4 are needed too. Tried once.
    [[nodiscard]] static std::string lack();

    /// Makes the file and an ext4 file system in it, with further arguments of mkfs.ext4.
    explicit LoopImage(std::string file, const std::string& arguments = "", int megabytes = 8);
    ~LoopImage();
    LoopImage(const LoopImage&) = delete;
    LoopImage& operator=(const LoopImage&) = delete;

    /// The folder is made where it is missing.
    void mount(const std::string& folder, const std::string& options = "");

    /// `options`: "-l" to let go of it while it is in use. False when it is in use.
    bool unmount(const std::string& folder, const std::string& options = "");

  private:
    const std::string file_;
    std::vector<std::string> mounted_;
};

} // namespace quarrydex
