#include "host/cli/open_command.h"

#include "host/cli/fixed_connection.h"
#include "host/cli/mail_client.h"
#include "host/cli/opening_report.h"
#include "host/cli/scan_target.h"
#include "host/cli/snapshot.h"
#include "host/mime/mailbox.h"
#include "host/mime/message_reader.h"
#include "logging/scoped_output.h"
#include "logging/trace_configuration.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tool/system/conversions.h"
#include "tool/system/identity.h"
#include "tool/system/registry.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <memory>
#include <utility>

namespace host {

namespace {

struct registry_entry
{
    std::string_view option;
    std::wstring_view key;
    std::wstring_view name;
    bool number;
};

constexpr std::array registry_entries{
    registry_entry{"KeepVerdictInEmail", winapi::registry_names::environment_key,
                   winapi::registry_names::keep_verdict_in_email, true},
    registry_entry{"Configuration", winapi::registry_names::trace_key, winapi::registry_names::trace_configuration,
                   false},
    registry_entry{"DumpHttpTrafficPath", winapi::registry_names::dump_key,
                   winapi::registry_names::dump_http_traffic_path, false},
};

const registry_entry* find_entry(std::string_view name)
{
    const auto* const found = std::find_if(registry_entries.begin(), registry_entries.end(), [name](const auto& entry) {
        return winapi::compare_no_case(entry.option, name) == 0;
    });
    return found == registry_entries.end() ? nullptr : found;
}

bool parse_number(std::string_view text, std::uint32_t& number)
{
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    return problem == std::errc() && end == text.data() + text.size();
}

/// Puts values into a registry of the command's own, which stands in for the machine's while the command runs.
void fill_registry(winapi::memory_registry& target, const std::vector<std::string>& values)
{
    for (const std::string& text : values) {
        const std::size_t equals = text.find('=');
        const registry_entry& entry = *find_entry(std::string_view(text).substr(0, equals));
        const std::string value = text.substr(equals + 1);
        if (entry.number) {
            std::uint32_t number = 0;
            parse_number(value, number);
            target.set_number(entry.key, entry.name, number);
        } else {
            target.set_string(entry.key, entry.name, winapi::conv_to_wide(value, winapi::code_page_utf8));
        }
    }
}

/// The checker with its start and end.
class running_checker
{
public:
    explicit running_checker(std::shared_ptr<ConnectionSource> link)
        : checker_(std::make_shared<MailChecker>(services(std::move(link))))
    {
        const std::wstring user = winapi::user_sid_text(winapi::current_user_name());
        checker_->Init(true, winapi::current_process_id(), winapi::current_process_path(),
                       winapi::conv_to_char(user, winapi::code_page_utf8));
    }
    running_checker(const running_checker&) = delete;
    running_checker& operator=(const running_checker&) = delete;
    ~running_checker() { checker_->Close(); }

    [[nodiscard]] std::shared_ptr<MailChecker> get() const { return checker_; }

private:
    static MailCheckerServices services(std::shared_ptr<ConnectionSource> link)
    {
        MailCheckerServices result;
        result.link = std::move(link);
        return result;
    }

    std::shared_ptr<MailChecker> checker_;
};

/// All messages behind the paths; what cannot be read is told and counted.
std::vector<message_place> find_all(const std::vector<std::string>& paths, const console& where,
                                    std::size_t& unreadable)
{
    std::vector<message_place> places;
    for (const std::string& path : paths) {
        try {
            const auto found = find_messages(path);
            places.insert(places.end(), found.begin(), found.end());
        } catch (const std::exception& failure) {
            report(where, path, failure.what());
            ++unreadable;
        }
    }
    return places;
}

std::size_t widest_name(const std::vector<message_place>& places, std::size_t terminal)
{
    constexpr std::size_t other_columns = 50;
    constexpr std::size_t least = 20;
    std::size_t widest = least;
    for (const auto& place : places) {
        widest = std::max(widest, columns_of(place.name()));
    }
    return std::min(widest, std::max(least, terminal > other_columns ? terminal - other_columns : least));
}

/// Opens one message as often as asked; every opening begins with the message as it was saved last.
void open_one(mail_client& client, const message_place& place, std::uint32_t times, opening_report& output,
              progress_bar& bar)
{
    const auto store = std::make_shared<store_context>();
    const auto stored = std::make_shared<message_record>(read_message(open_message(place), place.name(), store));
    for (std::uint32_t number = 1; number <= times; ++number) {
        reported_opening entry;
        entry.file = place.name();
        entry.number = number;
        entry.before = take_snapshot(*stored);
        entry.result = client.open(stored);
        entry.after = take_snapshot(entry.result.opened->message().current());
        bar.clear();
        output.add(entry);
    }
}

} // namespace

std::string check_registry_value(const std::string& text)
{
    const auto refuse = [](std::string_view part, std::string_view why) {
        std::string answer(1, '"');
        answer.append(part).append("\" ").append(why);
        return answer;
    };
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        return refuse(text, "is not of the form NAME=VALUE");
    }
    const registry_entry* entry = find_entry(std::string_view(text).substr(0, equals));
    if (!entry) {
        return refuse(std::string_view(text).substr(0, equals),
                      "is none of KeepVerdictInEmail, Configuration, DumpHttpTrafficPath");
    }
    std::uint32_t ignored = 0;
    if (entry->number && !parse_number(std::string_view(text).substr(equals + 1), ignored)) {
        return refuse(text, "needs a number from 0 to 4294967295");
    }
    return {};
}

exit_status run_open(const open_options& options, const console& where)
{
    winapi::memory_registry values;
    fill_registry(values, options.registry);
    const winapi::registry_override override_registry(values);
    std::size_t unreadable = 0;
    const auto places = find_all(options.paths, where, unreadable);
    const logging::scoped_output log(options.log_file, options.log_level);
    logging::apply_trace_configuration();

    const scan_target target(options.port, options.uri);
    const auto link =
        std::make_shared<fixed_connection>(target.port(), winapi::conv_to_wide(target.uri(), winapi::code_page_utf8));
    {
        const running_checker checker(link);
        mail_client client(checker.get());
        const auto output =
            options.json ? make_json_report(where) : make_table_report(where, widest_name(places, where.width));
        progress_bar bar(where, places.size());
        std::size_t done = 0;
        for (const auto& place : places) {
            bar.show(done++);
            try {
                open_one(client, place, options.times, *output, bar);
            } catch (const std::exception& failure) {
                bar.clear();
                report(where, place.name(), failure.what());
                ++unreadable;
            }
        }
        bar.clear();
        output->finish(unreadable);
    }
    if (target.asked_for() && link->refused()) {
        report(where, "127.0.0.1:" + std::to_string(target.port()), "no scanning service answers there");
        return exit_status::no_service;
    }
    return unreadable == 0 ? exit_status::done : exit_status::unreadable;
}

} // namespace host
