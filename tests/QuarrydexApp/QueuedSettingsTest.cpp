#include "QuarrydexApp/prefs/QueuedSettings.h"

#include "QuarrydexApp/prefs/Prefs.h"

#include "tests/fakes/FakeAppFolders.h"
#include "tests/fakes/FakeMountTable.h"
#include "tests/fakes/FakeSettings.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quarrydex {
namespace {

using Json = nlohmann::json;

/// A store whose disk takes as long as the test wants.
class SlowSettings final : public SettingsStore {
  public:
    FakeSettings inner;

    bool update(std::string_view key, const Change& change) override {
        {
            const MutexLock held(lock_);
            while (!isOpen_)
                opened_.wait(lock_);
        }
        return inner.update(key, change);
    }

    void open() {
        const MutexLock held(lock_);
        isOpen_ = true;
        opened_.notifyAll();
    }

  protected:
    [[nodiscard]] Json stored(std::string_view key) const override { return inner.value(key); }

  private:
    Mutex lock_;
    CondVar opened_;
    bool isOpen_ QDX_GUARDED_BY(lock_) = false;
};

struct Queued {
    SlowSettings disk;
    std::unique_ptr<QueuedSettings> settings =
        std::make_unique<QueuedSettings>(disk, Prefs::Key::all);
    FakeAppFolders folders;
    FakeMountTable mounts{{aMount(1, "/")}};
    Prefs prefs{*settings, folders, mounts};
};

TEST(QueuedSettingsTest, SettingAndReadingDoNotWaitForTheDisk) {
    Queued queued;
    Prefs& prefs = queued.prefs;
    prefs.setIncludeOnly("*.mp3"); // would never return
    prefs.setExcludedPaths({"/x", "/bad\xFF"});
    prefs.setHidden("A", true);
    prefs.setHidden("B", true);
    prefs.setSource("A", {.enabled = true, .whole = false, .folders = {"Music"}});
    prefs.setSource("B", {.enabled = false, .whole = true, .folders = {}});
    prefs.forgetSource("B");
    EXPECT_EQ(prefs.includeOnly(), "*.mp3");
    EXPECT_EQ(prefs.hiddenVolumes(), (std::vector<std::string>{"A", "B"}));
    EXPECT_TRUE(prefs.isKnown("A") && !prefs.isKnown("B"));
    EXPECT_TRUE(queued.disk.inner.values().empty());

    queued.disk.open();
    queued.settings.reset(); // what is set when the program ends is stored
    EXPECT_EQ(queued.disk.inner.values(), Json::parse(R"({
        "includeOnly": "*.mp3", "excludedPaths": ["/x", {"percentEncoded": "/bad%FF"}],
        "hiddenVolumes": ["A", "B"],
        "sources": {"A": {"enabled": true, "whole": false, "folders": ["Music"]}}})"));
}

TEST(QueuedSettingsTest, WhatOthersStoredMeanwhileStaysAndShows) {
    Queued queued;
    queued.prefs.setHidden("OURS", true);
    queued.disk.inner.setTexts("hiddenVolumes", {"THEIRS"});
    queued.disk.inner.setText("appearance", "dark");
    queued.prefs.setShowJunk(true);
    queued.disk.open();
    queued.settings->drain();
    const std::vector<std::string> both = {"THEIRS", "OURS"};
    EXPECT_EQ(queued.disk.inner.texts("hiddenVolumes"), both);
    EXPECT_EQ(queued.prefs.hiddenVolumes(), both);
    EXPECT_EQ(queued.prefs.appearance(), "dark");
    EXPECT_TRUE(queued.prefs.showJunk());
}

} // namespace
} // namespace quarrydex
