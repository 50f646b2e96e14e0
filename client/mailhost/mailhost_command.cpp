#include "client/mailhost/mailhost_command.h"

#include "client/mailhost/broker_class.h"
#include "client/mailhost/loaded_addins.h"
#include "client/mailhost/machine_values.h"
#include "client/model/class_object.h"
#include "client/model/outlook_client.h"
#include "desk/copies/mail_files.h"
#include "desk/report/requested_page.h"
#include "desk/run/interruption.h"
#include "desk/run/open_messages.h"
#include "desk/run/scan_target.h"
#include "desk/settings/settings_file.h"
#include "mail/files/path_text.h"
#include "mail/mime/writing/converter_session.h"
#include "mail/msg/msg_file.h"
#include "service/scoped_output.h"
#include "store/object_ledger.h"
#include "tool/system/conversions.h"
#include "tool/system/registry.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace host {

namespace {

/// Initialises COM on this thread in the same way as a mail client's main thread.
class single_apartment
{
public:
    single_apartment()
    {
        if (FAILED(OleInitialize(nullptr))) {
            throw std::runtime_error("COM cannot be started");
        }
    }
    single_apartment(const single_apartment&) = delete;
    single_apartment& operator=(const single_apartment&) = delete;
    ~single_apartment() { OleUninitialize(); }
};

/// Receives the add-in's trace: passes the outcome of checks on, and writes the lines to the log that the user
/// requested.
class addin_trace
{
public:
    addin_trace()
        : listener_([this](std::string_view line) { hear(line); })
    {}
    [[nodiscard]] check_outcome& outcome() noexcept { return outcome_; }

private:
    void hear(std::string_view line)
    {
        const trace_line parts = parse_trace_line(line);
        if (parts.level == 0) {
            return;
        }
        outcome_.hear(parts);
        LOG_LINE(logging::log_manager::default_manager().get_logger(parts.logger), parts.level, parts.text);
    }

    check_outcome outcome_;
    trace_listener listener_;
};

/// Returns the registry value that sends the add-in's trace to this process's listener. The level includes at least the
/// steps of the protocol, which name the threats, and every level that the logs of this process record.
registry_value trace_setting()
{
    const auto is_taken = [](logging::priority::level_type level) {
        return logging::outlook_log().enabled(level) || logging::icapclnt_log().enabled(level) ||
               logging::icap_log().enabled(level) || logging::wpx_log().enabled(level);
    };
    logging::priority::level_type level = logging::priority::off - 1;
    while (level > logging::priority::detail && !is_taken(level)) {
        --level;
    }
    return {std::wstring(winapi::registry_names::trace_key), std::wstring(winapi::registry_names::trace_configuration),
            L"level=" + std::to_wstring(level) + L"; debugger"};
}

void fill_registry(const open_options& options, machine_values& values)
{
    for (const registry_value& value : registry_values(options)) {
        if (value.name == winapi::registry_names::trace_configuration) {
            logging::configurator::default_configurator().configure(std::get<std::wstring>(value.value));
        } else {
            values.set(value);
        }
    }
    values.set(trace_setting());
}

/// Returns the broker's settings: those currently in a file, or those for one service.
std::vector<std::uint8_t> settings_for(const std::string& file, const scan_target* target)
{
    if (!target) {
        return load_settings_bytes(path_of(file));
    }
    return settings_bytes_of_service(target->port(), winapi::conv_to_wide(target->uri(), winapi::code_page_utf8));
}

/// Reports the objects that were never released. Returns true if there are any.
bool report_leaks(const console& where)
{
    std::map<std::string, std::pair<std::size_t, std::size_t>> kinds;
    for (const object_ledger::entry& left : object_ledger::of_process().alive()) {
        ++kinds[left.kind].first;
        kinds[left.kind].second += left.references;
    }
    for (const auto& [kind, counts] : kinds) {
        report(where, "leak",
               kind + ": " + std::to_string(counts.first) + " never released, with " + std::to_string(counts.second) +
                   " references");
    }
    return !kinds.empty();
}

/// Makes an object of the class that a mail client provides for converting messages to MIME documents.
HRESULT make_converter(IUnknown** object)
{
    ComPtr<IConverterSession> session;
    const HRESULT result = converter_session::create(Receive(session));
    *object = session.detach();
    return result;
}

/// Validates a settings file before any message is opened. Reports an error and returns false.
bool check_settings(const std::string& file, const console& where)
{
    try {
        static_cast<void>(load_settings(path_of(file)));
        return true;
    } catch (const std::exception& failure) {
        report(where, file, failure.what());
        return false;
    }
}

/// Reads the message in the folder that has the name of the encrypted one. Returns nullopt and sets `why` on failure.
std::optional<message_record> read_decrypted(const std::string& folder, const message_place& encrypted,
                                             const std::shared_ptr<store_context>& store, std::string& why)
{
    try {
        if (!folder.empty()) {
            return read_msg(path_of(folder) / encrypted.file.filename(), store);
        }
        why = "it is encrypted, and --decrypted was not given";
    } catch (const std::exception& failure) {
        why = failure.what();
    }
    return {};
}

void open_with_addins(const mailhost_options& options, message_source& places, const scan_target* target,
                      addin_trace& trace, opening_report* page, const console& where, opening_totals& totals)
{
    machine_values values;
    fill_registry(options.open, values);
    if (options.registered_broker) {
        offer_registered_broker();
    } else {
        offer_broker([file = options.open.settings_file, target](VARIANT& value) {
            return put_bytes(settings_for(file, target), value);
        });
    }
    const registered_class converter(CLSID_IConverterSession, make_converter);
    {
        const auto client = MakeCom<application>(winapi::conv_to_wide(options.version, winapi::code_page_utf8));
        loaded_addins addins(client);
        client->startup();
        addins.startup_complete();
        message_place current;
        outlook_client desk(client, trace.outcome(), [&](const message_record& enveloped, std::string& why) {
            return read_decrypted(options.decrypted, current, enveloped.store, why);
        });
        const message_reader read = [&current](const message_place& place,
                                               const std::shared_ptr<store_context>& store) {
            current = place;
            return read_mail(place, store, written_by::anyone);
        };
        const auto copies = make_copies(options.saving);
        const opening_plan plan{options.open.times,
                                options.open.json,
                                copies.get(),
                                options.saving.reopen,
                                page,
                                expected_work_of(options.open, where)};
        open_messages(places, plan, read, desk, where, totals);
        client->quit();
    }
    offer_broker({});
}

} // namespace

exit_status run_mailhost(const mailhost_options& options, const console& given)
{
    const console where = console_with(given, options.open.terminal);
    const interruption caught(where);
    const std::string& file = options.open.settings_file;
    if (!file.empty() && !check_settings(file, where)) {
        return exit_status::usage;
    }
    opening_totals totals;
    message_finder places(options.open.paths, {options.open.recursive, interruption::limits_of_inputs()});
    const logging::scoped_output log(options.open.log_file, options.open.log_level);
    std::optional<scan_target> target;
    if (file.empty() && !options.registered_broker) {
        target.emplace(options.open.port, options.open.uri);
    }
    requested_page page(options.open.page, heading_of(options.open, target ? &*target : nullptr, where.program), where);
    if (!page.good()) {
        return exit_status::failed;
    }
    object_ledger::of_process().switch_on(true);
    addin_trace trace;
    try {
        const single_apartment apartment;
        open_with_addins(options, places, target ? &*target : nullptr, trace, page.report(), where, totals);
    } catch (const addin_failure& failure) {
        report(where, "add-in", failure.what());
        return exit_status::no_addin;
    }
    if (report_leaks(where)) {
        return exit_status::leak;
    }
    if ((!target || target->asked_for()) && trace.outcome().refused()) {
        const std::string place = options.registered_broker ? "registered broker" : file;
        report(where, target ? "127.0.0.1:" + std::to_string(target->port()) : place,
               "no scanning service answers there");
        totals.unanswered = std::max<std::size_t>(totals.unanswered, 1);
    }
    report_stop(options.open, totals, where);
    totals.unsaved += page.good() ? 0 : 1;
    return status_of(totals, options.open.fail_on);
}

} // namespace host
