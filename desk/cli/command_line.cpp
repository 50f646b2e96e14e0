#include "desk/cli/command_line.h"

#include "command/help_layout.h"
#include "command/nearest_name.h"
#include "command/program_version.h"
#include "desk/cli/open_command.h"
#include "desk/cli/scan_command.h"
#include "desk/cli/settings_command.h"
#include "desk/run/output_check.h"
#include "desk/run/problem_words.h"
#include "doctor/doctor_command.h"
#include "mail/files/path_text.h"
#include "mail/inputs/byte_stream.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace host {

namespace {

constexpr const char* open_footer =
    R"(PATH is a message or an mbox, whatever its name; "-" for standard input; a pipe; or a folder. A message is an
Outlook message file if it begins like one, otherwise a MIME document. An mbox begins with "From ". Of a folder the
files .eml, .msg, .mbox and .mbx are opened, and those that begin like an mbox; of a Maildir those in "cur" and
"new"; of an MH folder the numbered ones. They are sorted by name. Hidden names and links to folders are left out,
and without --recursive the folders in a folder. A named pipe is unreadable if nobody writes to it within 60 seconds.

Without --port and --settings the scanning service runs inside this process, on a free loopback port. As
with the product, no settings are loaded while a service shows its presence (postwarden-service
--hold-presence); then the defaults hold, with port 1345 and path "/webscan".

A saved copy has the name of its message; one of an mbox has its number behind it, "mbox-3.eml". A file
that is there already stays: the copy then gets a number too, "report-2.eml". It is the message as it
stood on display at its first opening, with --reopen at its last one; of an encrypted message, what stands
behind the display: still encrypted, unless the check replaced its body. The "before" and "after" of --json
and the last column of the table tell of the same. What is missing in a damaged .msg file that still opens
is reported on standard error, with --json in an array "warnings".

--report writes one HTML page, which contains all that it displays: a row for each opening, and each changed
message before and after, side by side. It has no script and requests nothing, also not for the mail in it.

ANSWERED counts the objects, body and attachments, that the service judged out of those that it should have
judged; "answered" of --json describes each one: scanned, skipped and why, or no answer and why. A message
whose check got no answer opens, and its verdict can be clean: such a run ends with status 4.

Examples:
  postwarden open mail.eml
  postwarden open --report out.html mail
  postwarden open --recursive --json ~/Maildir > openings.json
  postwarden open --save out --port 1345 archive.mbox
  zcat archive.mbox.gz | postwarden open -
  postwarden open -- -name-with-a-dash.eml

Exit status: 0 all opened, 1 the output, the log or a copy could not be written, 2 the command line is wrong,
3 a message could not be read (the others are done), 4 no service where one was asked for, or an object that it
should have judged has no answer, 7 a condition of --fail-on is met, 130 stopped by SIGINT, 143 by SIGTERM. If
several apply: 1, then 7, 4 and 3.)";

constexpr const char* scan_footer = R"(FILE is a file of any kind, "-" for standard input, or a folder, whose files are
all scanned except hidden ones.

What FILE holds, by kind:
  mail, object     the bytes that are scanned
  http-request     an HTTP request as it goes over the wire: head, empty line,
                   body
  http-response    a request in that form, and directly behind it the response
                   to it
  certificate      a text: the server's name in the first line, the
                   certificate's name in the second
  health           a text whose first line is sent; FILE may be left out

Prints the result (0 not judged, 1 clean, 2 blocked, 3 repaired), the threat and the service's ISTag.
Without --port the scanning service runs inside this process, on a free loopback port. A scan whose
exchange fails counts as clean; so does an object that is shorter than the preview its service wants.

Examples:
  postwarden scan --kind object invoice.pdf
  postwarden scan --recursive --json downloads
  unzip -p archive.zip | postwarden scan --kind object -
  postwarden scan --kind health --port 1345

Exit status: 0 all scanned, 1 the output or what was repaired could not be written, 2 the command line is
wrong, 3 a file could not be read or is not what its kind asks for, 4 no service, or it gave no answer, 7 a
condition of --fail-on is met, 130 stopped by SIGINT, 143 by SIGTERM. If several apply: 1, then 7, 4 and 3.)";

constexpr const char* general_footer = R"(Each subcommand has a --help of its own.

Examples:
  postwarden open mail.eml
  postwarden scan --kind object invoice.pdf
  postwarden settings show settings.blob
  postwarden doctor)";

constexpr const char* doctor_name = "doctor";

void add_mail_options(CLI::App& command, mail_options& mail)
{
    add_saving_options(command, mail.saving);
    command.add_flag("--saved", mail.saved,
                     "PATH holds messages that --save wrote: the verdict that a header of theirs tells is believed");
    CLI::Option* key =
        command.add_option("--smime-key", mail.smime_key, "Private key that opens encrypted messages, PEM")
            ->type_name("FILE");
    CLI::Option* certificate =
        command.add_option("--smime-cert", mail.smime_certificate, "Certificate of that key, PEM")->type_name("FILE");
    key->needs(certificate);
    certificate->needs(key);
}

CLI::App* add_open(CLI::App& app, open_options& options, mail_options& mail)
{
    CLI::App* command = app.add_subcommand("open", "Open messages as a mail client would, with the whole check");
    add_open_options(*command, options);
    add_mail_options(*command, mail);
    command->footer(open_footer);
    return command;
}

CLI::App* add_scan(CLI::App& app, scan_options& options)
{
    static const std::map<std::string, scan_kind> kinds{{"mail", scan_kind::mail},
                                                        {"object", scan_kind::object},
                                                        {"http-request", scan_kind::http_request},
                                                        {"http-response", scan_kind::http_response},
                                                        {"certificate", scan_kind::certificate},
                                                        {"health", scan_kind::health}};
    CLI::App* command = app.add_subcommand("scan", "Run one scan of each file");
    command->add_option("FILE", options.files, "Files, folders, or \"-\"")->type_name("");
    command->add_flag("--recursive", options.recursive, "Include the folders in each folder");
    add_terminal_options(*command, options.terminal);
    command->add_option("--kind", options.kind, "What FILE contains, see below (default: mail)")
        ->transform(CLI::Transformer(kinds).description(""))
        ->type_name("mail|object|http-request|http-response|certificate|health");
    add_service_options(*command, options.port, options.uri, options.json);
    command
        ->add_option("--timeout", options.timeout_ms,
                     "Longest wait for a connection, and for each answer, in milliseconds")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{3600000}))
        ->type_name("MS")
        ->capture_default_str();
    add_fail_on(*command, options.fail_on);
    command->add_option("--repaired-to", options.repaired_to, "Write what was repaired to a file")->type_name("FILE");
    command->footer(scan_footer);
    return command;
}

/// Only for the list of subcommands: the command has exit statuses of its own, also for an invalid command line.
void add_doctor(CLI::App& app)
{
    app.add_subcommand(doctor_name, "Examine whether this machine is protected");
}

/// Returns true unless the paths may specify several files.
bool is_one_file(const std::vector<std::string>& paths)
{
    std::error_code ignored;
    return paths.size() <= 1 && (paths.empty() || paths[0] == standard_input_name ||
                                 !std::filesystem::is_directory(path_of(paths[0]), ignored));
}

exit_status wrong_usage(const console& where, const std::string& why)
{
    report(where, "command line", why + "; --help tells more");
    return exit_status::usage;
}

exit_status run_unguarded(int argc, const char* const* argv, const console& where)
{
    CLI::App app("Opens mail through the postwarden check, and scans files.", "postwarden");
    app.formatter(command::help_layout());
    app.set_version_flag("--version", "postwarden " + std::string(command::program_version()),
                         "Print the version and end");
    app.set_help_flag("--help,-h", "Print this help and end");
    app.require_subcommand(1);
    app.footer(general_footer);
    open_options to_open;
    mail_options mail;
    scan_options to_scan;
    settings_options settings;
    const CLI::App* open = add_open(app, to_open, mail);
    const CLI::App* scan = add_scan(app, to_scan);
    const CLI::App* with_settings = add_settings(app, settings);
    add_doctor(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& told) { // help and version
        app.exit(told, where.out, where.err);
        flush_output(where);
        return exit_status::done;
    } catch (const CLI::ParseError& problem) {
        return wrong_usage(where, command::reason_for_display(app, problem));
    }
    if (open->parsed()) {
        const std::string wrong = settle(*open, to_open, mail.saving);
        return wrong.empty() ? run_open(to_open, mail, where) : wrong_usage(where, wrong);
    }
    if (with_settings->parsed()) {
        return run_settings(settings, where);
    }
    if (to_scan.files.empty() && to_scan.kind != scan_kind::health) {
        return wrong_usage(where, "FILE is required");
    }
    if (!to_scan.repaired_to.empty() && !is_one_file(to_scan.files)) {
        return wrong_usage(where, "--repaired-to takes one FILE only");
    }
    return scan->parsed() ? run_scan(to_scan, where) : exit_status::usage;
}

} // namespace

int run(int argc, const char* const* argv, const console& where)
{
    if (argc > 1 && argv[1] == std::string_view(doctor_name)) {
        return doctor::run({argv + 2, argv + argc}, "postwarden doctor", std::string(command::program_version()),
                           where);
    }
    try {
        return static_cast<int>(run_unguarded(argc, argv, where));
    } catch (const output_failure& failure) {
        return static_cast<int>(report_output_failure(where, failure));
    } catch (const std::exception& failure) {
        report(where, "failed", problem_words(failure.what()));
        return static_cast<int>(exit_status::failed);
    }
}

} // namespace host
