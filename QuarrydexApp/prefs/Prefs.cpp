#include "QuarrydexApp/prefs/Prefs.h"

#include "QuarrydexApp/prefs/QueuedSettings.h"
#include "QuarrydexCore/text/Lang.h"

#include <algorithm>
#include <utility>

#include <nlohmann/json.hpp>

namespace quarrydex {

using Json = nlohmann::json;

/// Main thread. Subscriptions share it, so that they may outlive the Prefs.
class Prefs::Observers {
  public:
    std::size_t add(Observer observer) {
        observers_.emplace(++last_, std::move(observer));
        return last_;
    }

    void remove(std::size_t token) { observers_.erase(token); }

    void tell(std::string_view key) {
        const auto now = observers_; // observers may come and go while they are called
        for (const auto& [token, observer] : now)
            if (observers_.contains(token))
                observer(key);
    }

  private:
    std::map<std::size_t, Observer> observers_; ///< by token
    std::size_t last_ = 0;
};

class Prefs::Observation final : public Subscription {
  public:
    Observation(std::shared_ptr<Observers> observers, Observer observer)
        : observers_(std::move(observers)), token_(observers_->add(std::move(observer))) {}

    ~Observation() override { observers_->remove(token_); }

  private:
    const std::shared_ptr<Observers> observers_;
    const std::size_t token_;
};

namespace {

/// Changes members of an object; anything else that is stored there gives way to one.
SettingsStore::Change inObject(std::function<void(Json&)> change) {
    return [change = std::move(change)](Json& value) {
        if (!value.is_object())
            value = Json::object();
        change(value);
    };
}

} // namespace

Prefs::Prefs(SettingsStore& settings, const AppFolders& folders, const MountTable& mounts)
    : settings_(settings), folders_(folders), mounts_(mounts),
      observers_(std::make_shared<Observers>()) {}

Prefs& Prefs::shared() {
    const Platform& system = systemPlatform();
    static QueuedSettings settings(system.settings, Key::all);
    static Prefs prefs(settings, system.folders, system.mounts);
    return prefs;
}

std::unique_ptr<Subscription> Prefs::observe(Observer observer) {
    return std::make_unique<Observation>(observers_, std::move(observer));
}

void Prefs::tell(std::string_view key) {
    const auto observers = observers_; // an observer may end this object
    observers->tell(key);
}

void Prefs::setBoolean(std::string_view key, bool value) {
    settings_.setBoolean(key, value);
    tell(key);
}

void Prefs::setText(std::string_view key, std::string_view value) {
    settings_.setText(key, value);
    tell(key);
}

// --- Sources ------------------------------------------------------------------------------------

bool Prefs::configured() const {
    return settings_.boolean(Key::configured).value_or(false);
}

void Prefs::setConfigured(bool configured) {
    setBoolean(Key::configured, configured);
}

Prefs::Sources Prefs::sources() const {
    Sources out;
    const Json stored = settings_.value(Key::sources);
    if (stored.is_object())
        for (const auto& [identity, value] : stored.items())
            if (auto config = SourceConfig::fromJson(value))
                out.emplace(identity, std::move(*config));
    return out;
}

SourceConfig Prefs::source(std::string_view identity, const Drive& drive) const {
    const Sources known = sources();
    if (const auto found = known.find(identity); found != known.end())
        return found->second;
    SourceConfig config;
    if (!drive.internal)
        return config;
    config.whole = false;
    config.folders = SourceConfig::personalFoldersOn(drive.root, folders_, mounts_.mounts());
    return config;
}

bool Prefs::isKnown(std::string_view identity) const {
    return sources().contains(identity);
}

void Prefs::setSource(std::string_view identity, const SourceConfig& config) {
    setSources({{std::string(identity), config}});
}

void Prefs::setSources(const Sources& changed) {
    settings_.update(Key::sources, inObject([changed](Json& stored) {
                         for (const auto& [identity, config] : changed) {
                             Json& record = stored[identity];
                             if (record.is_object())
                                 record.update(config.json()); // fields we do not know stay
                             else
                                 record = config.json();
                         }
                     }));
    tell(Key::sources);
}

void Prefs::forgetSource(std::string_view identity) {
    settings_.update(Key::sources,
                     inObject([id = std::string(identity)](Json& stored) { stored.erase(id); }));
    tell(Key::sources);
}

// --- What is indexed ----------------------------------------------------------------------------

std::string Prefs::includeOnly() const {
    return settings_.text(Key::includeOnly).value_or("");
}

void Prefs::setIncludeOnly(std::string_view patterns) {
    setText(Key::includeOnly, patterns);
}

std::vector<std::string> Prefs::excludedPaths() const {
    return settings_.texts(Key::excludedPaths).value_or(std::vector<std::string>());
}

void Prefs::setExcludedPaths(const std::vector<std::string>& paths) {
    settings_.setTexts(Key::excludedPaths, paths);
    tell(Key::excludedPaths);
}

bool Prefs::indexDiskImages() const {
    return settings_.boolean(Key::indexDiskImages).value_or(false);
}

void Prefs::setIndexDiskImages(bool on) {
    setBoolean(Key::indexDiskImages, on);
}

// --- What is shown ------------------------------------------------------------------------------

std::vector<Category> Prefs::categories() const {
    const Json stored = settings_.value(Key::categories);
    if (!stored.is_array())
        return Category::defaults();
    std::vector<Category> out;
    for (const Json& value : stored)
        if (auto category = Category::fromJson(value))
            out.push_back(std::move(*category));
    return out.empty() && !stored.empty() ? Category::defaults() : out;
}

void Prefs::setCategories(const std::vector<Category>& categories) {
    settings_.update(Key::categories, [categories](Json& stored) {
        stored = Json::array();
        for (const Category& category : categories)
            stored.push_back(category.json());
    });
    tell(Key::categories);
}

void Prefs::resetCategories() {
    setCategories(Category::defaults());
}

std::vector<std::string> Prefs::hiddenVolumes() const {
    return settings_.texts(Key::hiddenVolumes).value_or(std::vector<std::string>());
}

void Prefs::setHiddenVolumes(const std::vector<std::string>& identities) {
    settings_.setTexts(Key::hiddenVolumes, identities);
    tell(Key::hiddenVolumes);
}

void Prefs::setHidden(std::string_view identity, bool hidden) {
    settings_.update(Key::hiddenVolumes, [id = std::string(identity), hidden](Json& stored) {
        std::vector<std::string> all = textsOfJson(stored).value_or(std::vector<std::string>());
        std::erase(all, id);
        if (hidden)
            all.push_back(id);
        stored = all;
    });
    tell(Key::hiddenVolumes);
}

bool Prefs::showJunk() const {
    return settings_.boolean(Key::showJunk).value_or(false);
}

void Prefs::setShowJunk(bool on) {
    setBoolean(Key::showJunk, on);
}

std::vector<std::string> Prefs::visibleColumns(std::string_view category) const {
    return ColumnSets(settings_).visible(category);
}

void Prefs::setVisibleColumns(const std::vector<std::string>& columns, std::string_view category) {
    ColumnSets(settings_).set(columns, category);
    tell(Key::columnSets);
}

TableState Prefs::tableState() const {
    return TableState::fromJson(settings_.value(Key::tableState));
}

void Prefs::setTableState(const TableState& state) {
    settings_.update(Key::tableState, [state](Json& stored) { stored = state.json(); });
    tell(Key::tableState);
}

// --- Behaviour ----------------------------------------------------------------------------------

bool Prefs::keepOffline() const {
    return settings_.boolean(Key::keepOffline).value_or(true);
}

void Prefs::setKeepOffline(bool on) {
    setBoolean(Key::keepOffline, on);
}

bool Prefs::confirmTrash() const {
    return settings_.boolean(Key::confirmTrash).value_or(true);
}

void Prefs::setConfirmTrash(bool on) {
    setBoolean(Key::confirmTrash, on);
}

const HotKeyPreset& Prefs::hotKey() const {
    return HotKeyPreset::withId(settings_.integer(Key::hotkeyPreset).value_or(0));
}

void Prefs::setHotKey(int presetId) {
    settings_.setInteger(Key::hotkeyPreset, presetId);
    tell(Key::hotkeyPreset);
}

std::string Prefs::appearance() const {
    return settings_.text(Key::appearance).value_or("system");
}

void Prefs::setAppearance(std::string_view appearance) {
    setText(Key::appearance, appearance);
}

std::string Prefs::kindStyle() const {
    return settings_.text(Key::kindStyle).value_or("");
}

void Prefs::setKindStyle(std::string_view style) {
    setText(Key::kindStyle, style);
}

void Prefs::overrideKindStyle(std::string_view style) {
    settings_.overrideText(Key::kindStyle, style);
    tell(Key::kindStyle);
}

std::string Prefs::language() const {
    return settings_.text(Key::language).value_or(std::string(Lang::system));
}

void Prefs::setLanguage(std::string_view choice) {
    setText(Key::language, choice);
    Lang::shared().setChoice(choice);
}

bool Prefs::onboardingDismissed() const {
    return settings_.boolean(Key::onboardingDismissed).value_or(false);
}

void Prefs::setOnboardingDismissed(bool dismissed) {
    setBoolean(Key::onboardingDismissed, dismissed);
}

} // namespace quarrydex
