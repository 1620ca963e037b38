// The subcommands that work on data files: show, convert and sample.
#include "Commands.h"

#include <charconv>
#include <cmath>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "Columns.h"
#include "Json.h"
#include "RecordFiles.h"
#include "ToolError.h"
#include "Transfer.h"

namespace tool {

namespace {

struct Range {
    double low = NAN;
    double high = NAN;
};

Range finiteRange(const double* data, int count) {
    Range range;
    for (int i = 0; data != nullptr && i < count; ++i) {
        const double v = data[i];
        if (!std::isfinite(v)) continue;
        if (std::isnan(range.low) || v < range.low) range.low = v;
        if (std::isnan(range.high) || v > range.high) range.high = v;
    }
    return range;
}

std::vector<std::string> commentLines(const std::string& comment) {
    std::vector<std::string> lines;
    std::size_t start = comment.find_first_not_of('\n');
    if (start == std::string::npos) return lines;
    while (start < comment.size()) {
        std::size_t end = comment.find('\n', start);
        if (end == std::string::npos) end = comment.size();
        lines.push_back(comment.substr(start, end - start));
        start = end + 1;
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

const char* formatName(anadata::FileFormat format) {
    return format == anadata::FileFormat::text ? "text" : "dump";
}

// The shortest text that reads back as the same double ("nan", "inf", "-inf" for those).
std::string shortestNumber(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char buffer[64];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

// A column's first or last coordinate; null when it has none.
Json endPoint(const double* data, int size, bool last) {
    if (size <= 0 || data == nullptr) return nullptr;
    return data[last ? size - 1 : 0];
}

// The text format carries no sub-shot number, so only a dump or the service can tell it.
struct Shown {
    qx::AnaData rec;
    std::string source;
    int subshot = -1;  // -1: unknown
};

void showJson(const Shown& shown) {
    const qx::AnaData& rec = shown.rec;
    Json dims = Json::array(), values = Json::array();
    for (int i = 0; i < rec.getDimNo(); ++i) {
        const int size = rec.getDimSize(i);
        dims.push_back({{"name", rec.getDimName(i)},
                        {"unit", unitText(rec.getDimUnit(i))},
                        {"size", size},
                        {"first", endPoint(rec.getDimData(i), size, false)},
                        {"last", endPoint(rec.getDimData(i), size, true)}});
    }
    for (int i = 0; i < rec.getValNo(); ++i) {
        const Range range = finiteRange(rec.getValData(i), rec.getValSize());
        values.push_back({{"name", rec.getValName(i)},
                          {"unit", unitText(rec.getValUnit(i))},
                          {"size", rec.getValSize()},
                          {"min", range.low},
                          {"max", range.high}});
    }
    printJson({{"source", shown.source},
               {"name", rec.getDiagnostics()},
               {"shot", rec.getShotNo()},
               {"subshot", shown.subshot >= 0 ? Json(shown.subshot) : Json(nullptr)},
               {"date", rec.getDate()},
               {"comment", rec.getComment()},
               {"dimensions", dims},
               {"values", values}});
}

void showText(const Shown& shown) {
    const qx::AnaData& rec = shown.rec;
    std::ostream& out = std::cout;
    out << "source:   " << shown.source << '\n';
    out << "name:     " << rec.getDiagnostics() << '\n';
    out << "shot:     " << rec.getShotNo() << '\n';
    if (shown.subshot >= 0) out << "subshot:  " << shown.subshot << '\n';
    out << "date:     " << rec.getDate() << '\n';
    const std::vector<std::string> comment = commentLines(rec.getComment());
    for (std::size_t i = 0; i < comment.size(); ++i) out << (i == 0 ? "comment:  " : "          ") << comment[i] << '\n';

    std::size_t width = 4;
    for (int i = 0; i < rec.getDimNo(); ++i) width = std::max(width, std::string(rec.getDimName(i)).size());
    for (int i = 0; i < rec.getValNo(); ++i) width = std::max(width, std::string(rec.getValName(i)).size());
    std::size_t unitWidth = 2;
    for (int i = 0; i < rec.getDimNo(); ++i) unitWidth = std::max(unitWidth, unitText(rec.getDimUnit(i)).size() + 2);
    for (int i = 0; i < rec.getValNo(); ++i) unitWidth = std::max(unitWidth, unitText(rec.getValUnit(i)).size() + 2);

    out << "dimensions: " << rec.getDimNo() << '\n';
    for (int i = 0; i < rec.getDimNo(); ++i) {
        const int size = rec.getDimSize(i);
        const double* data = rec.getDimData(i);
        out << "  " << padded(rec.getDimName(i), width) << "  "
            << padded("[" + unitText(rec.getDimUnit(i)) + "]", unitWidth) << "  " << size << " points";
        if (size > 0 && data) out << "  " << shortestNumber(data[0]) << " .. " << shortestNumber(data[size - 1]);
        out << '\n';
    }
    out << "values: " << rec.getValNo() << " (" << rec.getValSize() << " points each)\n";
    for (int i = 0; i < rec.getValNo(); ++i) {
        const Range range = finiteRange(rec.getValData(i), rec.getValSize());
        out << "  " << padded(rec.getValName(i), width) << "  "
            << padded("[" + unitText(rec.getValUnit(i)) + "]", unitWidth) << "  ";
        if (std::isnan(range.low))
            out << "no finite values";
        else
            out << "min " << shortestNumber(range.low) << "  max " << shortestNumber(range.high);
        out << '\n';
    }
}

void addShow(CLI::App& app, const GlobalOptions& globals) {
    auto args = std::make_shared<std::vector<std::string>>();
    auto json = std::make_shared<bool>(false);
    auto lenient = std::make_shared<bool>(false);
    auto service = std::make_shared<ServiceOptions>();
    CLI::App* cmd = app.add_subcommand("show", "Show the record in a data file (text or dump), or fetch one and show it");
    cmd->add_option("FILE|DIAG SHOT [SUBSHOT]", *args, "A data file, or a data set on the service")
        ->required()
        ->expected(1, 3);
    cmd->add_flag("--json", *json, "Write JSON for scripts");
    cmd->add_flag("--lenient", *lenient, lenientHelp);
    addFetchOptions(*cmd, *service);
    cmd->callback([&globals, args, json, lenient, service] {
        Shown shown;
        if (args->size() == 1) {
            LoadedRecord loaded = loadRecord(args->front(), *lenient);
            shown.rec = loaded.record;
            shown.source = std::string(formatName(loaded.format)) + " file " + args->front();
            if (loaded.format == anadata::FileFormat::dump) shown.subshot = loaded.record.getSubNo();
        } else {
            std::optional<std::string> subshot;
            if (args->size() == 3) subshot = (*args)[2];
            const DataSetName name = dataSetFrom((*args)[0], (*args)[1], subshot);
            shown.rec = fetchRecord(globals, *service, "show", name);
            shown.source = "service " + name.text();
            shown.subshot = shown.rec.getSubNo();
        }
        if (*json)
            showJson(shown);
        else
            showText(shown);
    });
}

void addConvert(CLI::App& app) {
    struct Options {
        std::string in, out;
        bool text = false, dump = false, force = false, lenient = false;
        int precision = 16;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("convert", "Convert a data file between the text and the dump format");
    cmd->add_option("IN", o->in, "Data file to read")->required();
    cmd->add_option("OUT", o->out, "File to write")->required();
    auto* text = cmd->add_flag("--text", o->text, "Write the text format (default for a dump input)");
    cmd->add_flag("--dump", o->dump, "Write the dump format (default for a text input)")->excludes(text);
    cmd->add_option("--precision", o->precision, "Digits after the point in the text format (16 keeps every bit)")
        ->check(CLI::Range(0, 40))
        ->capture_default_str();
    cmd->add_flag("--force", o->force, "Replace OUT if it exists");
    cmd->add_flag("--lenient", o->lenient, lenientHelp);
    cmd->callback([o] {
        using anadata::FileFormat;
        LoadedRecord loaded = loadRecord(o->in, o->lenient);
        FileFormat target = loaded.format == FileFormat::text ? FileFormat::dump : FileFormat::text;
        if (o->text) target = FileFormat::text;
        if (o->dump) target = FileFormat::dump;
        saveRecord(loaded.record, o->out, target, o->force, o->precision);
        std::cout << o->in << " (" << formatName(loaded.format) << ") -> " << o->out << " (" << formatName(target)
                  << ")\n";
    });
}

// A small made-up data set: time x channel, signal = time * (channel + 1), noise = channel / 100.
qx::AnaData sampleRecord(const std::string& diag, int shot, int times) {
    const int channels = 3;
    std::vector<double> time(static_cast<std::size_t>(times)), channel(channels);
    std::vector<double> signal(static_cast<std::size_t>(times) * channels), noise(signal.size());
    for (int t = 0; t < times; ++t) time[static_cast<std::size_t>(t)] = 0.001 * t;
    for (int c = 0; c < channels; ++c) channel[static_cast<std::size_t>(c)] = c;
    for (std::size_t t = 0; t < time.size(); ++t)
        for (std::size_t c = 0; c < channel.size(); ++c) {
            signal[t * channels + c] = time[t] * static_cast<double>(c + 1);
            noise[t * channels + c] = static_cast<double>(c) / 100.0;
        }
    qx::AnaData rec(2, 2);
    rec.setDiagnostics(diag.c_str());
    rec.setShotNo(shot);
    rec.setSubNo(1);
    rec.setDate();
    rec.addComment("sample data set made by anadata sample");
    rec.setDim(0, "time", "s", times, time.data());
    rec.setDim(1, "channel", "", channels, channel.data());
    rec.setVal(0, "signal", "V", static_cast<int>(signal.size()), signal.data());
    rec.setVal(1, "noise", "V", static_cast<int>(noise.size()), noise.data());
    return rec;
}

void addSample(CLI::App& app) {
    struct Options {
        std::string file, name = "sample";
        int shot = 1234, points = 5;
        bool dump = false, force = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand("sample", "Write a small made-up data set to try the other subcommands on");
    cmd->add_option("FILE", o->file, "File to write")->required();
    cmd->add_option("--name", o->name, "Data name")->capture_default_str();
    cmd->add_option("--shot", o->shot, "Shot number")->capture_default_str()->check(CLI::PositiveNumber);
    cmd->add_option("--points", o->points, "Points along time (three channels each)")
        ->capture_default_str()
        ->check(CLI::Range(1, 50000000));
    cmd->add_flag("--dump", o->dump, "Write the dump format instead of text");
    cmd->add_flag("--force", o->force, "Replace FILE if it exists");
    cmd->callback([o] {
        saveRecord(sampleRecord(o->name, o->shot, o->points), o->file,
                   o->dump ? anadata::FileFormat::dump : anadata::FileFormat::text, o->force, 6);
        std::cout << "wrote " << o->file << " (" << o->name << ", shot " << o->shot << ")\n";
    });
}

}  // namespace

void addRecordCommands(CLI::App& app, const GlobalOptions& globals) {
    addShow(app, globals);
    addConvert(app);
    addSample(app);
}

}  // namespace tool
