#include "QuarrydexApp/platform/linux/AutostartFile.h"

#include "QuarrydexCore/base/AtomicFile.h"
#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <string_view>
#include <utility>

#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::size_t maxBytes = 65536;

/// One argument as the Exec line wants it: quoted, and the backslashes of the quotation escaped
/// once more, as in every value.
std::string execArgument(std::string_view argument) {
    std::string out = "\"";
    for (const char c : argument) {
        if (c == '\\')
            out += R"(\\\\)";
        else if (c == '"' || c == '`' || c == '$')
            out += std::string(R"(\\)") + c;
        else if (c == '%')
            out += "%%";
        else
            out += c;
    }
    return out + '"';
}

bool hasControls(std::string_view text) {
    return std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

} // namespace

AutostartFile::AutostartFile(const std::string& folder,
                             std::string name,
                             std::vector<std::string> command)
    : path_(folder + "/quarrydex.desktop"), name_(std::move(name)), command_(std::move(command)) {}

bool AutostartFile::isOn() const {
    std::string text;
    if (readFile(path_, maxBytes, text) != 0)
        return false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false")
            return false;
    return true;
}

bool AutostartFile::set(bool on) {
    if (!on)
        return ::unlink(path_.c_str()) == 0 || errno == ENOENT;
    std::string text = "[Desktop Entry]\nType=Application\nName=" + name_ + "\nExec=";
    for (const std::string& argument : command_) {
        if (hasControls(argument))
            return false; // a line break would begin another entry
        text += (&argument == &command_.front() ? "" : " ") + execArgument(argument);
    }
    text += "\nTerminal=false\n";
    if (makeFolders(folderOf(path_)) != 0)
        return false;
    AtomicFile file(path_, 0644);
    return file.isOpen() && file.write(text.data(), text.size(), 0) && file.commit();
}

} // namespace quarrydex
