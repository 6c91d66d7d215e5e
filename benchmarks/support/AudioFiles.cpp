#include "benchmarks/support/AudioFiles.h"

#include "benchmarks/support/Bench.h"

#include <cstdlib>
#include <filesystem>

namespace quarrydex::bench {

namespace {

constexpr const char* functions = R"sh(set -e
ff() { ffmpeg -nostdin -v error "$@"; }
noise() { ff -f lavfi -i "anoisesrc=d=$1:c=pink:r=44100:a=0.3:seed=$1" -ac 2 -c:a pcm_s16le "$2"; }
)sh";

/// Files of $n seconds, named by their number. Every one has all texts, tempo and key, as far as
/// its encoder writes them.
constexpr const char* small = R"sh(
noise $n $n.src.wav
tags="-metadata title=Title-$n -metadata artist=Artist-$n -metadata album=Album-$n
      -metadata genre=Techno -metadata date=200$n"
ff -i $n.src.wav $tags -metadata TBPM=12$n -metadata TKEY=Am -id3v2_version 3 -b:a 128k $n.a.mp3
ff -i $n.src.wav $tags -metadata TBPM=12$n -metadata TKEY=Am -id3v2_version 4 -q:a 4 $n.b.mp3
ff -i $n.src.wav $tags -metadata BPM=12$n -metadata INITIALKEY=Am $n.a.flac
ff -i $n.src.wav $tags -ar 22050 -ac 1 $n.a.wav
ff -i $n.src.wav $tags -metadata TBPM=12$n -metadata TKEY=Am -write_id3v2 1 -ar 22050 -ac 1 $n.a.aiff
ff -i $n.src.wav $tags -metadata tmpo=12$n -c:a aac -b:a 128k $n.a.m4a
rm $n.src.wav
)sh";

constexpr const char* large = R"sh(
noise 200 a.wav
ff -i a.wav a.flac
ff -i a.wav -c:a pcm_s24be a.aiff
ff -i a.wav -c:a alac -metadata title=Title a.m4a
ff -t 20 -i a.wav -b:a 320k -write_xing 0 -id3v2_version 0 part.mp3
for i in 1 2 3 4 5 6 7 8; do cat part.mp3 part.mp3 part.mp3 part.mp3 part.mp3; done > a.mp3
rm part.mp3
)sh";

} // namespace

AudioFiles::AudioFiles(Size size, std::size_t count) {
    if (!folder_.isMade() || !(size == Size::small ? makeSmall(count) : makeLarge()))
        paths_.clear();
}

bool AudioFiles::run(const std::string& command) const {
    return runProgram({"/bin/sh", "-c", "cd '" + folder_.path() + "'\n" + functions + command}) ==
           0;
}

bool AudioFiles::makeSmall(std::size_t count) {
    for (const char* n : {"1", "2", "3"})
        if (!run("n=" + std::string(n) + small))
            return false;
    std::vector<std::filesystem::path> models;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
        models.push_back(entry.path());
    for (std::size_t i = 0; i < count && !models.empty(); ++i) {
        const std::filesystem::path& model = models[i % models.size()];
        paths_.push_back(path("copy" + std::to_string(i) + model.extension().string()));
        std::filesystem::copy_file(model, paths_.back());
    }
    return paths_.size() == count;
}

bool AudioFiles::makeLarge() {
    if (!run(large))
        return false;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
        paths_.push_back(entry.path());
    return true;
}

} // namespace quarrydex::bench
