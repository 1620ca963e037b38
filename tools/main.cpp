// anadata: look at data files and move data sets to and from the analysed-data service.
#include <iostream>
#include <memory>
#include <new>

#include <CLI/CLI.hpp>

#include <anadata/clsException.h>
#include <anadata/session.h>
#include <anadata/version.h>

#include "Commands.h"
#include "Interrupts.h"
#include "ToolError.h"

namespace {

// CLI11 writes "(3x)" after a positional that takes several words; the names here say how many.
class UsageFormatter : public CLI::Formatter {
public:
    std::string make_option_usage(const CLI::Option* opt) const override {
        std::string usage = make_option_name(opt, true);
        if (opt->get_expected_max() >= CLI::detail::expected_max_vector_size) usage += "...";
        return opt->get_required() ? usage : "[" + usage + "]";
    }
};

// The first word that is neither an option nor the value of --ini: the intended subcommand.
std::string firstWord(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--ini") {
            ++i;
        } else if (!arg.empty() && arg[0] != '-') {
            return arg;
        }
    }
    return "";
}

}  // namespace

int main(int argc, char** argv) {
    tool::catchInterrupts();
    tool::GlobalOptions globals;
    CLI::App app{"Look at analysed-data files and move data sets to and from the analysed-data service.\n"
                 "Exit status: 0 success, 1 not found, 2 usage error, 3 service or network failure, "
                 "4 local file error, 130 interrupted.",
                 "anadata"};
    app.formatter(std::make_shared<UsageFormatter>());  // before the subcommands, which take it over
    app.fallthrough();
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", anadata_version(), "Print the library's version and exit");
    app.add_option("--ini", globals.ini, "Settings file to use instead of $CLIENT_INI2, ~/.client2.ini, /etc/client2.ini");
    app.add_option("--threads", globals.threads, "Threads that compress a registration (default: one per core)")
        ->check(CLI::Range(0, 256));
    tool::addRecordCommands(app, globals);
    tool::addTransferCommands(app, globals);
    tool::addExportCommand(app, globals);
    tool::addCatalogueCommands(app, globals);
    tool::addCacheCommand(app, globals);
    std::string helpTopic;
    CLI::App* help = app.add_subcommand("help", "Show the help of the tool or of one subcommand");
    help->add_option("command", helpTopic, "Subcommand to explain");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
        std::string message = tool::oneLine(e.what());
        if (app.get_subcommands().empty()) {
            const std::string word = firstWord(argc, argv);
            if (!word.empty()) message = "unknown subcommand: " + word;
        }
        std::cerr << "anadata: usage: " << message << " (see anadata --help)\n";
        return tool::exitUsage;
    } catch (const tool::ToolError& e) {
        std::cerr << "anadata: " << tool::oneLine(e.what()) << '\n';
        return e.status();
    } catch (const anadata::Error& e) {
        std::cerr << "anadata: " << tool::errorLine(e) << '\n';
        return tool::exitStatusOf(e.code());
    } catch (const qx::clsException& e) {
        std::cerr << "anadata: " << tool::oneLine(e.getMessage()) << '\n';
        return tool::exitFile;
    } catch (const std::bad_alloc&) {
        std::cerr << "anadata: out of memory\n";
        return tool::exitFile;
    } catch (const std::exception& e) {
        std::cerr << "anadata: " << tool::oneLine(e.what()) << '\n';
        return tool::exitFile;
    }
    // Bare "anadata" and "anadata help [COMMAND]" explain instead of doing.
    if (app.get_subcommands().empty() || help->parsed()) {
        const CLI::App* topic = &app;
        if (!helpTopic.empty()) {
            try {
                topic = app.get_subcommand(helpTopic);
            } catch (const CLI::OptionNotFound&) {
                std::cerr << "anadata: usage: unknown subcommand: " << helpTopic << " (see anadata --help)\n";
                return tool::exitUsage;
            }
        }
        std::cout << (topic == &app ? app.help() : topic->help("anadata"));
    }
    return tool::exitOk;
}
