/// What the user chose, as typed values over the settings. Nothing is kept here: each getter reads
/// the store, each setter stores at once and then tells the observers.
///
/// Threads: the main thread; observers are called on it, before the setter returns.
/// Ownership: refers to what it is made of, which must outlive it.
/// Failure: values of the wrong type count as unset; a value that cannot be stored holds until the
/// program ends (SettingsStore).
#pragma once

#include "QuarrydexApp/prefs/Category.h"
#include "QuarrydexApp/prefs/ColumnSets.h"
#include "QuarrydexApp/prefs/HotKeyPreset.h"
#include "QuarrydexApp/prefs/SourceConfig.h"
#include "QuarrydexApp/prefs/TableState.h"
#include "QuarrydexCore/base/Subscription.h"
#include "QuarrydexCore/platform/Platform.h"

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class Prefs {
  public:
    /// The keys under which the settings stand, and by which observers are told of a change.
    struct Key {
        static constexpr std::string_view categories = "categories";
        static constexpr std::string_view includeOnly = "includeOnly";
        static constexpr std::string_view hiddenVolumes = "hiddenVolumes";
        static constexpr std::string_view sources = "sources";
        static constexpr std::string_view configured = "sourcesConfigured";
        static constexpr std::string_view excludedPaths = "excludedPaths";
        static constexpr std::string_view indexDiskImages = "indexDiskImages";
        static constexpr std::string_view keepOffline = "keepOffline";
        static constexpr std::string_view columnSets = ColumnSets::key;
        static constexpr std::string_view confirmTrash = "confirmTrash";
        static constexpr std::string_view hotkeyPreset = "hotkeyPreset";
        static constexpr std::string_view appearance = "appearance";
        static constexpr std::string_view kindStyle = "kindStyle";
        static constexpr std::string_view showJunk = "showJunk";
        static constexpr std::string_view onboardingDismissed = "onboardingDismissed";
        static constexpr std::string_view language = "language";
        static constexpr std::string_view tableState = "QuarrydexResults2";

        static constexpr std::array<std::string_view, 16> all = {
            categories, includeOnly,   hiddenVolumes,       sources,
            configured, excludedPaths, indexDiskImages,     keepOffline,
            columnSets, confirmTrash,  hotkeyPreset,        appearance,
            kindStyle,  showJunk,      onboardingDismissed, language};
    };

    using Observer = std::function<void(std::string_view key)>;
    using Sources = std::map<std::string, SourceConfig, std::less<>>; ///< by drive identity

    Prefs(SettingsStore& settings, const AppFolders& folders, const MountTable& mounts);

    /// The program's one instance, over the system's settings, which it writes in the background.
    [[nodiscard]] static Prefs& shared();

    /// Tells of every change made through this object until the subscription is destroyed, which
    /// an observer may do to its own.
    [[nodiscard]] std::unique_ptr<Subscription> observe(Observer observer);

    // --- Sources ---------------------------------------------------------------------------------

    /// The user has chosen sources at least once.
    [[nodiscard]] bool configured() const;
    void setConfigured(bool configured);

    [[nodiscard]] Sources sources() const;

    struct Drive {
        bool internal = false;
        std::string root = "/"; ///< its mount point
    };

    /// `source(_:internal:)`: the stored choice for a drive identity, else the default: of an
    /// internal drive the personal folders that lie on it (asks the disk), another one whole.
    [[nodiscard]] SourceConfig source(std::string_view identity, const Drive& drive) const;

    /// `isKnown(_:)`: the user has chosen or ignored the drive.
    [[nodiscard]] bool isKnown(std::string_view identity) const;

    void setSource(std::string_view identity, const SourceConfig& config);

    /// Several at once, with one notice.
    void setSources(const Sources& changed);
    void forgetSource(std::string_view identity);

    // --- What is indexed -------------------------------------------------------------------------

    /// "*.mp3;*.flac"; empty for all files.
    [[nodiscard]] std::string includeOnly() const;
    void setIncludeOnly(std::string_view patterns);

    [[nodiscard]] std::vector<std::string> excludedPaths() const;
    void setExcludedPaths(const std::vector<std::string>& paths);

    [[nodiscard]] bool indexDiskImages() const;
    void setIndexDiskImages(bool on);

    // --- What is shown ---------------------------------------------------------------------------

    [[nodiscard]] std::vector<Category> categories() const;
    void setCategories(const std::vector<Category>& categories);
    void resetCategories();

    /// Identities of drives that are left out of searches.
    [[nodiscard]] std::vector<std::string> hiddenVolumes() const;
    void setHiddenVolumes(const std::vector<std::string>& identities);
    void setHidden(std::string_view identity, bool hidden);

    [[nodiscard]] bool showJunk() const;
    void setShowJunk(bool on);

    /// `ColumnSets.visible` and `ColumnSets.set(_:for:)`, with notice.
    [[nodiscard]] std::vector<std::string> visibleColumns(std::string_view category) const;
    void setVisibleColumns(const std::vector<std::string>& columns, std::string_view category);

    [[nodiscard]] TableState tableState() const;
    void setTableState(const TableState& state);

    // --- Behaviour -------------------------------------------------------------------------------

    [[nodiscard]] bool keepOffline() const;
    void setKeepOffline(bool on);

    [[nodiscard]] bool confirmTrash() const;
    void setConfirmTrash(bool on);

    [[nodiscard]] const HotKeyPreset& hotKey() const;
    void setHotKey(int presetId);

    /// "system", "light" or "dark".
    [[nodiscard]] std::string appearance() const;
    void setAppearance(std::string_view appearance);

    /// Empty when unset.
    [[nodiscard]] std::string kindStyle() const;
    void setKindStyle(std::string_view style);

    /// For this run only, whatever is stored.
    void overrideKindStyle(std::string_view style);

    /// "system" or a code of Lang::supported.
    [[nodiscard]] std::string language() const;

    /// Stores the choice and brings it into effect: see Lang::setChoice.
    void setLanguage(std::string_view choice);

    [[nodiscard]] bool onboardingDismissed() const;
    void setOnboardingDismissed(bool dismissed);

    /// For what a window keeps under a key of its own, such as its size.
    [[nodiscard]] SettingsStore& store() { return settings_; }

  private:
    class Observers;
    class Observation;

    void setBoolean(std::string_view key, bool value);
    void setText(std::string_view key, std::string_view value);
    void tell(std::string_view key);

    SettingsStore& settings_;
    const AppFolders& folders_;
    const MountTable& mounts_;
    std::shared_ptr<Observers> observers_;
};

} // namespace quarrydex
