// The export subcommand: a record's numbers as a CSV table or as numpy files.
#include "Commands.h"

#include <charconv>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "NumpyFiles.h"
#include "RecordFiles.h"
#include "Table.h"
#include "ToolError.h"
#include "Transfer.h"

namespace tool {

namespace {

// A CSV field, quoted when it holds a separator, a quote or a line break.
std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

// A header of "name [unit]" fields, then one line per grid point; the numbers in their shortest
// form that reads back to the same double.
void writeCsv(const Table& table, std::ostream& out) {
    std::string line;
    for (const auto* columns : {&table.dimensions(), &table.values()})
        for (const TableColumn& c : *columns)
            line += (line.empty() ? "" : ",") + csvField(c.name + " [" + c.unit + "]");
    out << line << '\n';
    std::vector<char> buffer(1u << 16);
    std::size_t used = 0;
    table.forEachRow([&](const double* row) {
        if (buffer.size() - used < table.width() * 32) {
            out.write(buffer.data(), static_cast<std::streamsize>(used));
            used = 0;
            if (buffer.size() < table.width() * 32) buffer.resize(table.width() * 32);
        }
        for (std::size_t i = 0; i < table.width(); ++i) {
            if (i > 0) buffer[used++] = ',';
            // 24 characters hold any double; "-nan" and "-inf" included.
            char* at = buffer.data() + used;
            used += static_cast<std::size_t>(std::to_chars(at, at + 24, row[i]).ptr - at);
        }
        buffer[used++] = '\n';
    });
    out.write(buffer.data(), static_cast<std::streamsize>(used));
}

}  // namespace

void addExportCommand(CLI::App& app, const GlobalOptions& globals) {
    struct Options {
        std::vector<std::string> args;
        std::string output;
        bool csv = false, npy = false, force = false, lenient = false;
        ServiceOptions service;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "export", "Write the numbers of a data file or of a data set on the service as CSV or numpy arrays");
    cmd->add_option("FILE|DIAG SHOT [SUBSHOT]", o->args, "A data file, or a data set on the service")
        ->required()
        ->expected(1, 3);
    auto* csv = cmd->add_flag("--csv", o->csv, "A CSV table: coordinates then values, one line per grid point");
    cmd->add_flag("--npy", o->npy, "OUT.npy: the same table as one 2-D float64 array; OUT.npz: one array per column")
        ->excludes(csv);
    cmd->add_option("-o,--output", o->output, "File to write")->required();
    cmd->add_flag("--force", o->force, "Replace OUT if it exists");
    cmd->add_flag("--lenient", o->lenient, lenientHelp);
    addFetchOptions(*cmd, o->service);
    cmd->callback([&globals, o] {
        if (!o->csv && !o->npy) throw ToolError(exitUsage, "export: give --csv or --npy");
        const std::filesystem::path extension = std::filesystem::path(o->output).extension();
        const bool npz = extension == ".npz";
        if (o->npy && !npz && extension != ".npy")
            throw ToolError(exitUsage, "export --npy: OUT must end in .npy (one table) or .npz (one array per column)");
        qx::AnaData record;
        std::string source;
        if (o->args.size() == 1) {
            record = loadRecord(o->args.front(), o->lenient).record;
            source = o->args.front();
        } else {
            std::optional<std::string> subshot;
            if (o->args.size() == 3) subshot = o->args[2];
            const DataSetName name = dataSetFrom(o->args[0], o->args[1], subshot);
            record = fetchRecord(globals, o->service, "export", name);
            source = name.text();
        }
        const Table table(record, "export " + source);
        writeAtomically(o->output, o->force, [&](std::ostream& out) {
            try {
                if (o->csv)
                    writeCsv(table, out);
                else if (npz)
                    writeNpz(table, out);
                else
                    writeNpyTable(table, out);
            } catch (const ToolError& e) {
                throw ToolError(e.status(), "export " + o->output + ": " + e.what());
            }
        });
        std::cout << "exported " << source << " -> " << o->output << " (" << table.rows() << " points x "
                  << table.width() << " columns)\n";
    });
}

}  // namespace tool
