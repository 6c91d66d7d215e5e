/// Music on drives of a model, for what shows and steers a duplicate run.
#pragma once

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/windows/DupModel.h"

#include "tests/fakes/WatchedReads.h"
#include "tests/support/BlockingLauncher.h"
#include "tests/support/EventLoop.h"
#include "tests/support/MusicFolder.h"

#include <memory>
#include <optional>
#include <string>

namespace quarrydex::testing {

struct DupDesk {
    MusicFolder music;
    WatchedReads reads;
    BlockingLauncher launcher;
    std::optional<std::string> fpcalc;
    std::unique_ptr<Model> model;

    /// Without reading tags: they are what the tests say.
    DupDesk() : model(std::make_unique<Model>(ModelOptions{.analysesAudio = false})) {}

    DuplicateFinder::Tools tools() {
        return {reads, launcher, [path = fpcalc] { return path; }};
    }

    /// A drive over a folder of the tree; its id is its name.
    VolumeState& drive(const std::string& rel) {
        music.scan(rel);
        model->addVolume(music.tree.path(rel), music.volumes.back());
        VolumeState& volume = *model->volumes().back();
        volume.id = rel;
        return volume;
    }

    void song(const std::string& rel, AudioCodec codec, const std::string& title) {
        AudioMeta meta;
        meta.artist = "The Band";
        meta.title = title;
        meta.codec = codec;
        meta.bitrateKbps = 192;
        meta.bits = 16;
        meta.sampleRate = 44'100;
        meta.durationMs = 187'000;
        music.tag(rel, meta);
    }

    /// a/1.mp3 = b/2.mp3, 5,000 bytes each; a/x.flac, the better copy of a/y.mp3.
    void twoGroups() {
        music.tree.file("a/1.mp3", noise(5000, 1));
        music.tree.file("b/2.mp3", noise(5000, 1));
        music.tree.file("a/x.flac", noise(9000, 2));
        music.tree.file("a/y.mp3", noise(4000, 3));
        for (const char* rel : {"a/1.mp3", "b/2.mp3", "a/x.flac", "a/y.mp3"})
            music.tree.setTimes(rel, 1'600'000'000);
        drive("a");
        drive("b");
        song("a/x.flac", AudioCodec::flac, "Song");
        song("a/y.mp3", AudioCodec::mp3, "Song");
    }

    static bool comesToEnd(const DupModel& dupes) {
        return comesTo([&] { return dupes.state() != DupModel::State::running; });
    }
};

} // namespace quarrydex::testing
