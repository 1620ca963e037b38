// Data sets and shot ranges from command-line words, and fetching a record into memory.
#include "Transfer.h"

#include <charconv>

#include <anadata/session.h>

#include "Interrupts.h"
#include "Progress.h"
#include "Settings.h"
#include "ToolError.h"

namespace tool {

std::string DataSetName::text() const {
    return diag + " " + std::to_string(shot) + "/" + std::to_string(subshot);
}

std::string DataSetName::fileName() const {
    return diag + "@" + std::to_string(shot) + (subshot == 1 ? "" : "-" + std::to_string(subshot)) + ".dat";
}

int parseInt(const std::string& text, const std::string& what) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end)
        throw ToolError(exitUsage, what + ": not a whole number: " + text);
    return value;
}

DataSetName dataSetFrom(const std::string& diag, const std::string& shot, const std::optional<std::string>& subshot) {
    DataSetName name;
    name.diag = diag;
    name.shot = parseInt(shot, "SHOT");
    if (name.shot <= 0) throw ToolError(exitUsage, "SHOT: must be positive: " + shot);
    if (subshot) {
        name.subshot = parseInt(*subshot, "SUBSHOT");
        if (name.subshot < 0) throw ToolError(exitUsage, "SUBSHOT: must not be negative: " + *subshot);
        if (name.subshot == 0) name.subshot = 1;  // the service files sub-shot 0 as 1
    }
    return name;
}

ShotRange parseShots(const std::string& text, const std::string& option) {
    ShotRange range;
    const auto dash = text.find('-');
    if (dash == std::string::npos) {
        range.first = range.last = parseInt(text, option);
    } else {
        const std::string from = text.substr(0, dash), to = text.substr(dash + 1);
        range.first = from.empty() ? 0 : parseInt(from, option + " FROM");
        range.last = to.empty() ? 0 : parseInt(to, option + " TO");
    }
    if (range.first < 0 || range.last < 0) throw ToolError(exitUsage, option + ": shot numbers are positive: " + text);
    if (range.first > 0 && range.last > 0 && range.first > range.last)
        throw ToolError(exitUsage, option + ": the first shot comes after the last: " + text);
    return range;
}

qx::AnaData fetchRecord(const GlobalOptions& globals, const ServiceOptions& service, const std::string& command,
                        const DataSetName& name) {
    const anadata::Session session = openSession(globals, service);
    const std::string what = command + " " + name.text();
    ProgressBar bar(what, ProgressBar::Unit::bytes);
    const CancelOnInterrupt cancel;
    return serviceCall(what, [&] { return session.fetch(name.diag, name.shot, name.subshot, bar.callback()); });
}

}  // namespace tool
