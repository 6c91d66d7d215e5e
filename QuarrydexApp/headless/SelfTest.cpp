#include "QuarrydexApp/headless/SelfTest.h"

#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexApp/model/WaitUntil.h"

#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <cstdio>

#include <unistd.h>

namespace quarrydex {

namespace {

using namespace std::chrono_literals;

/// Runs the event loop for that long.
void pump(std::chrono::milliseconds duration) {
    QEventLoop loop;
    QTimer::singleShot(duration, &loop, &QEventLoop::quit);
    loop.exec();
}

std::string oneDecimal(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

/// At once, as the test takes a while.
void printLine(Output& out, const std::string& line) {
    out.append(line + '\n');
    out.flush();
}

std::uint64_t liveCount(const Model& model) {
    std::uint64_t total = 0;
    for (const auto& volume : model.volumes())
        total += volume->index->liveCount();
    return total;
}

void printScanDone(Output& out, const Model& model) {
    double seconds = 0;
    std::string counts;
    for (const auto& volume : model.volumes()) {
        seconds += volume->seconds;
        counts += (counts.empty() ? "" : ", ") + volume->name + " " + std::to_string(volume->count);
    }
    printLine(out, "scan done in " + oneDecimal(seconds) +
                       " s: " + std::to_string(liveCount(model)) + " entries (" + counts + ")");
}

/// Searches again and again while the folders are being scanned.
void searchWhileScanning(Output& out, Session& session, const std::string& query) {
    Model& model = session.model();
    for (pump(200ms); model.anyScanning(); pump(200ms)) {
        const auto results = session.search({.query = query, .browseAll = true});
        printLine(out, "live: " + std::to_string(liveCount(model)) + " entries, " +
                           std::to_string(results->total) + " hits while scanning (" +
                           oneDecimal(results->searchMs) + " ms (search+full ordering)");
    }
}

void timeQuery(Output& out, Session& session, const std::string& query, SortKey key) {
    Model& model = session.model();
    model.prepareSort(key);
    waitUntil(model, [&] { return !model.sorting(); });
    const auto results = session.search({.query = query, .browseAll = true, .sortKey = key});
    pump(1500ms);
    printLine(out, "query '" + query + "' sort " + std::string(rawValue(key)) + ": " +
                       std::to_string(results->rows.size()) + " rows in " +
                       oneDecimal(results->searchMs) + " ms");
}

} // namespace

ExitStatus runSelfTest(const Options& options) {
    Output out(STDOUT_FILENO);
    Session session(options, {.keepsOrders = true});
    session.model().startScans();
    const bool canSearch =
        !options.queries.empty() && !Session::queryFault(options.queries.front());
    searchWhileScanning(out, session, canSearch ? options.queries.front() : "");
    session.reportFailures();
    printScanDone(out, session.model());
    pump(3s);
    for (const std::string& query : options.queries) {
        const auto fault = Session::queryFault(query);
        for (SortKey key : allSortKeys) {
            if (fault)
                printLine(out, "query '" + query + "' sort " + std::string(rawValue(key)) + ": " +
                                   *fault);
            else
                timeQuery(out, session, query, key);
        }
    }
    return !out.finish() || session.hasFailures() ? ExitStatus::error : ExitStatus::success;
}

} // namespace quarrydex
