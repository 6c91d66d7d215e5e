#include "QuarrydexApp/headless/Batch.h"

#include "QuarrydexApp/headless/Json.h"
#include "QuarrydexApp/headless/LineReader.h"
#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexApp/headless/RowPaths.h"
#include "QuarrydexApp/headless/Termination.h"
#include "QuarrydexCore/text/tr.h"

#include <cstdio>

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace quarrydex {

namespace {

using nlohmann::json;

constexpr std::size_t maxLineBytes = 1 << 20;

/// Puts one field of a request into the state. Returns what is wrong with it, empty for nothing.
std::string readField(const std::string& name, const json& value, SearchState& state) {
    const auto wrongType = [&](const std::string& wanted) {
        return tr("“{field}” must be {type}", {{"field", name}, {"type", wanted}});
    };
    if (name == "query") {
        if (!value.is_string())
            return wrongType(tr("a text"));
        state.query = value.get<std::string>();
    } else if (name == "sort") {
        const auto key =
            value.is_string() ? sortKeyFromRaw(value.get_ref<const std::string&>()) : std::nullopt;
        if (!key)
            return wrongType(tr("name, path, size, date or created"));
        state.sortKey = *key;
    } else if (name == "desc" || name == "showJunk") {
        if (!value.is_boolean())
            return wrongType(tr("true or false"));
        (name == "desc" ? state.sortDesc : state.showJunk) = value.get<bool>();
    } else if (name == "limit") {
        if (!value.is_number_unsigned())
            return wrongType(tr("a number, not negative"));
        state.limit = value.get<std::size_t>();
    } else {
        return tr("Unknown field “{field}”", {{"field", name}});
    }
    return {};
}

std::string errorAnswer(std::string_view message) {
    std::string out = "{\"error\":";
    appendJsonString(out, message);
    return out + '}';
}

/// Milliseconds to the microsecond, as a JSON number in any locale.
std::string milliseconds(double ms) {
    return json(static_cast<double>(static_cast<std::uint64_t>(ms * 1000)) / 1000).dump();
}

void printResults(const ResultSet& results, Output& out) {
    out.append("{\"count\":" + std::to_string(results.total) +
               ",\"ms\":" + milliseconds(results.searchMs) + ",\"paths\":[");
    RowPaths paths(results);
    bool allUtf8 = true;
    std::string text;
    for (std::size_t i = 0; i < results.rows.size(); ++i) {
        const std::string_view path = paths.path(results.rows[i]);
        allUtf8 = allUtf8 && isUtf8(path);
        text = i > 0 ? "," : "";
        appendJsonString(text, path);
        out.append(text);
    }
    out.append("]");
    if (!allUtf8) {
        out.append(",\"pathsBase64\":[");
        for (std::size_t i = 0; i < results.rows.size(); ++i) {
            const std::string_view path = paths.path(results.rows[i]);
            text = i > 0 ? "," : "";
            if (isUtf8(path))
                text += "null";
            else
                appendBase64(text, path);
            out.append(text);
        }
        out.append("]");
    }
    out.append("}");
}

void answer(const LineReader::Line& line, Session& session, Output& out) {
    if (line.tooLong) {
        out.append(
            errorAnswer(tr("The request is longer than {count} bytes", {{"count", maxLineBytes}})));
        return;
    }
    auto request = parseRequest(line.text);
    if (const auto* fault = std::get_if<CommandLineError>(&request)) {
        out.append(errorAnswer(fault->message));
        return;
    }
    SearchState& state = std::get<SearchState>(request);
    if (const auto fault = Session::queryFault(state.query))
        out.append(errorAnswer(*fault));
    else {
        if (Session::asksForAudio(state.query))
            session.analyseAudio();
        printResults(*session.search(std::move(state)), out);
    }
}

} // namespace

std::variant<SearchState, CommandLineError> parseRequest(std::string_view line) {
    const json request = json::parse(line, nullptr, false);
    if (!request.is_object())
        return CommandLineError{tr("The request is not a JSON object")};
    SearchState state;
    state.browseAll = true;
    for (const auto& [name, value] : request.items())
        if (std::string fault = readField(name, value, state); !fault.empty())
            return CommandLineError{std::move(fault)};
    return state;
}

ExitStatus runBatch(const Options& options) {
    Session session(options, {.keepsOrders = true, .watches = true, .analysesAudio = true});
    session.scan();
    LineReader requests(STDIN_FILENO, maxLineBytes);
    const Termination termination([&] { requests.end(); });
    Output out(STDOUT_FILENO);
    while (out.isOpen()) {
        const auto line = requests.next();
        if (!line)
            break;
        if (!line->tooLong && line->text.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        answer(*line, session, out);
        out.append("\n");
        out.flush();
    }
    session.finish();
    return !out.finish() || session.hasFailures() ? ExitStatus::error : ExitStatus::success;
}

} // namespace quarrydex
