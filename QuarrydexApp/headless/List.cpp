#include "QuarrydexApp/headless/List.h"

#include "QuarrydexApp/headless/Json.h"
#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexApp/headless/ProgressLine.h"
#include "QuarrydexApp/headless/RowPaths.h"
#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexAudio/index/AudioIndexer.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/text/tr.h"

#include <unistd.h>

namespace quarrydex {

namespace {

SearchState searchState(const Options& options) {
    return {.query = options.query,
            .browseAll = true,
            .sortKey = options.sort,
            .sortDesc = options.descending,
            .showJunk = options.showJunk,
            .limit = options.limit};
}

void appendField(std::string& out, std::string_view name, std::uint64_t value) {
    out.append(",\"").append(name).append("\":").append(std::to_string(value));
}

void appendField(std::string& out, std::string_view name, std::string_view value) {
    out.append(",\"").append(name).append("\":");
    appendJsonString(out, value);
}

/// Appends one row as an object.
void appendEntry(std::string& out, const ResultSet& results, Row row, std::string_view path) {
    const VolumeIndex& index = *results.indexes[rowVolume(row)];
    const EntryId id = rowEntry(row);
    const std::uint8_t flags = index.flags(id);
    out += "{\"path\":";
    appendJsonString(out, path);
    if (!isUtf8(path)) {
        out += ",\"pathBase64\":";
        appendBase64(out, path);
    }
    appendField(out, "name", index.name(id));
    appendField(out, "size", index.size(id));
    appendField(out, "mtime", index.mtime(id));
    appendField(out, "ctime", index.ctime(id));
    appendField(out, "kind", (flags & EntryFlags::dir) != 0 ? "folder" : "file");
    appendField(out, "flags", flags);
    appendField(out, "ext", index.ext(id).value_or(""));
    appendField(out, "drive", results.vols[rowVolume(row)]->name);
    if (const auto meta = index.audio().meta(id); meta && !meta->isEmpty()) {
        out += ",\"audio\":";
        appendAudioJson(out, *meta);
    }
    out += '}';
}

/// Reads the tags of those rows that have none yet.
void analyseHits(const ResultSet& results) {
    ProgressLine line;
    std::vector<std::vector<EntryId>> hits(results.vols.size());
    for (const Row row : results.rows)
        hits[rowVolume(row)].push_back(rowEntry(row));
    for (std::size_t v = 0; v < hits.size(); ++v) {
        if (results.vols[v]->offline)
            continue;
        AudioIndexer indexer(results.indexes[v], processorCount());
        indexer.yields = false;
        indexer.onProgress = [&line](const AudioIndexer::Progress& progress) {
            line.show(tr("Reading tags: {done} of {total}",
                         {{"done", progress.done}, {"total", progress.total}}));
        };
        indexer.beginAt(systemPlatform().clock.now());
        indexer.run(indexer.pending(hits[v]));
    }
}

void printRows(const ResultSet& results, const Options& options, Output& out) {
    RowPaths paths(results);
    const bool escapes = !options.print0 && isTerminal(STDOUT_FILENO);
    const std::string_view end = options.print0 ? std::string_view("\0", 1) : "\n";
    std::string object;
    for (std::size_t i = 0; i < results.rows.size() && out.isOpen(); ++i) {
        const Row row = results.rows[i];
        const std::string_view path = paths.path(row);
        if (options.json) {
            object.clear();
            appendEntry(object, results, row, path);
            out.append(object);
        } else if (escapes && needsEscaping(path)) {
            out.append(escaped(path));
        } else {
            out.append(path);
        }
        out.append(end);
    }
    out.flush();
}

} // namespace

ExitStatus runList(const Options& options) {
    if (const auto fault = Session::queryFault(options.query)) {
        printError(*fault);
        return ExitStatus::error;
    }
    const bool asksForAudio = Session::asksForAudio(options.query);
    Session session(options, {.analysesAudio = asksForAudio});
    session.scan();
    if (asksForAudio)
        session.analyseAudio();
    const auto results = session.search(searchState(options));
    if (options.json)
        analyseHits(*results);

    Output out(STDOUT_FILENO);
    printRows(*results, options, out);
    session.finish();
    if (!out.finish() || session.hasFailures())
        return ExitStatus::error;
    return results->total > 0 ? ExitStatus::success : ExitStatus::noHits;
}

} // namespace quarrydex
