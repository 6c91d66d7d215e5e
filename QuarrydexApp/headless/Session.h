/// What the modes without a window share: a model over the given folders, and ways to wait for it.
///
/// Waiting runs the event loop, so the model goes on working; nothing polls. Waits for catalogues
/// and tags say on the terminal how far they are. Threads: the main thread, with a
/// QCoreApplication.
#pragma once

#include "QuarrydexApp/headless/CommandLine.h"
#include "QuarrydexApp/model/Model.h"

#include <memory>
#include <optional>
#include <string>

namespace quarrydex {

/// What the command line says of the catalogues, in place of what is stored.
[[nodiscard]] ModelOptions modelOptions(const Options& options);

/// Of the process.
enum class ExitStatus : int { success = 0, noHits = 1, error = 2 };

class Session {
  public:
    struct Settings {
        bool keepsOrders = false; ///< more searches than one are to come
        bool watches = false;     ///< the folders are kept current, else caught up with once
        bool analysesAudio = false;
    };

    Session(const Options& options, Settings settings);

    [[nodiscard]] Model& model() { return model_; }

    /// Loads the folders' catalogues and brings them up to date, or scans them; tells those that
    /// could not be scanned.
    void scan();

    /// Waits until the tags of all audio files have been read. REQUIRES: Settings::analysesAudio.
    void analyseAudio();

    /// Saves what is worth it. The last thing to do with a session.
    void finish() { model_.saveAll(); }

    /// Names the folders that could not be scanned on standard error.
    void reportFailures() const;

    /// True when a folder could not be scanned.
    [[nodiscard]] bool hasFailures() const;

    /// What is wrong with the query text, as shown to the user, or nothing. Starts no search.
    [[nodiscard]] static std::optional<std::string> queryFault(const std::string& query);

    /// True when the query looks into tags. REQUIRES: queryFault(query) is nothing.
    [[nodiscard]] static bool asksForAudio(const std::string& query);

    /// The whole result. REQUIRES: queryFault(state.query) is nothing.
    [[nodiscard]] std::shared_ptr<const ResultSet> search(SearchState state);

  private:
    Model model_;
};

} // namespace quarrydex
