#include "client/mailhost/mailhost_command.h"
#include "command/help_layout.h"
#include "command/nearest_name.h"
#include "command/program_version.h"
#include "desk/run/output_check.h"
#include "desk/run/terminal.h"
#include "desk/run/wide_arguments_windows.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <string>
#include <vector>

namespace {

constexpr const char* footer =
    R"(PATH is an Outlook message file, a folder of them, or "-" for standard input. The folders in a folder are left out
without --recursive. The add-ins are those that
the registry lists for the mail client. Without --port the scanning service runs inside this process, on a free
loopback port; the add-in learns of it from a stand-in for the product's broker, which only this process sees. With
--registered-broker the add-in, the broker and the service are those of the machine.

Values of --registry, and the one that has the add-in tell its trace, are written to the machine's registry and
taken back at the end; if mailhost is killed, by the next one.

What is missing in a damaged message file that still opens is reported on standard error, with --json in an array
"warnings". ANSWERED counts the objects that the service judged out of those that it should have judged, "answered"
of --json describes each one. Both follow from the trace of the add-in, which does not name the threat of a
repaired object.

Examples:
  mailhost --json message.msg
  mailhost --recursive --registered-broker messages

Exit status: 0 all opened, 1 something broke, 2 the command line is wrong, 3 a message could not be read (the others
are done), 4 no service where one was asked for, or an object that it should have judged has no answer, 5 no add-in,
or one that cannot be loaded or refuses to be connected, 6 an object that was handed to an add-in was never released,
7 a condition of --fail-on is met, 130 stopped by Ctrl+C.)";

host::exit_status run(const std::vector<std::string>& arguments, const host::console& where)
{
    CLI::App app("Opens mail as the mail client would, with the add-ins that are registered for it.", "mailhost");
    app.set_version_flag("--version", "mailhost " + std::string(command::program_version()),
                         "Print the version and end");
    app.set_help_flag("--help,-h", "Print this help and end");
    app.formatter(command::help_layout());
    app.allow_windows_style_options(false); // a path may begin with a slash
    host::mailhost_options options;
    host::add_open_options(app, options.open);
    host::add_saving_options(app, options.saving);
    app.add_option("--version-string", options.version, "Version that the client says it has")
        ->type_name("TEXT")
        ->capture_default_str();
    app.add_flag("--registered-broker", options.registered_broker,
                 "Take the settings from the broker that is registered for the machine, and so the service from them")
        ->excludes("--port")
        ->excludes("--uri")
        ->excludes("--settings");
    app.add_option("--decrypted", options.decrypted,
                   "What is inside encrypted messages, as messages of the same names: there is no key to open them "
                   "with here")
        ->type_name("DIR");
    app.footer(footer);
    std::vector<const char*> pointers;
    pointers.reserve(arguments.size());
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    try {
        app.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::Success& told) { // help and version
        app.exit(told, where.out, where.err);
        flush_output(where);
        return host::exit_status::done;
    } catch (const CLI::ParseError& problem) {
        report(where, "command line", command::reason_for_display(app, problem) + "; --help tells more");
        return host::exit_status::usage;
    }
    const std::string wrong = settle(app, options.open, options.saving);
    if (!wrong.empty()) {
        report(where, "command line", wrong + "; --help tells more");
        return host::exit_status::usage;
    }
    return run_mailhost(options, where);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const host::console where = host::process_console("mailhost");
    try {
        return static_cast<int>(run(host::utf8_arguments(argc, argv), where));
    } catch (const host::output_failure& failure) {
        return static_cast<int>(report_output_failure(where, failure));
    } catch (const std::exception& failure) {
        report(where, "failed", failure.what());
        return static_cast<int>(host::exit_status::failed);
    }
}
