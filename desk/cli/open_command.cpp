#include "desk/cli/open_command.h"

#include "desk/cli/mail_client.h"
#include "desk/cli/observed_link.h"
#include "desk/cli/service_link.h"
#include "desk/cli/settings_input.h"
#include "desk/copies/mail_files.h"
#include "desk/report/requested_page.h"
#include "desk/run/interruption.h"
#include "desk/run/open_messages.h"
#include "desk/run/output_check.h"
#include "desk/run/scan_target.h"
#include "desk/settings/settings_file.h"
#include "logging/trace_configuration.h"
#include "mail/files/path_text.h"
#include "mail/mime/writing/converter_session.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "service/scoped_output.h"
#include "store/memory_stream.h"
#include "tool/system/conversions.h"
#include "tool/system/identity.h"
#include "tool/system/registry.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>
#include <variant>

namespace host {

namespace {

/// Stores values in the registry of the command, which replaces that of the machine while the command runs.
void fill_registry(winapi::memory_registry& target, const std::vector<registry_value>& values)
{
    for (const registry_value& entry : values) {
        if (const auto* number = std::get_if<std::uint32_t>(&entry.value)) {
            target.set_number(entry.key, entry.name, *number);
        } else {
            target.set_string(entry.key, entry.name, std::get<std::wstring>(entry.value));
        }
    }
}

/// Owns the checker; calls Init() on construction and Close() on destruction.
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
        result.converter.createSession = converter_session::create;
        result.converter.createStream = create_memory_stream;
        result.disinfector = MakeMailDisinfector();
        return result;
    }

    std::shared_ptr<MailChecker> checker_;
};

/// The service that receives the messages, and the link to it: specified by a settings file, by a port that the user
/// named, or running inside this process.
class opening_service
{
public:
    /// `settings` is the file of the settings, if the options have one.
    opening_service(const open_options& options, const std::filesystem::path& settings)
    {
        if (!options.settings_file.empty()) {
            link_ = std::make_unique<service_link>(settings);
            return;
        }
        target_ = std::make_unique<scan_target>(options.port, options.uri);
        link_ = std::make_unique<service_link>(target_->port(),
                                               winapi::conv_to_wide(target_->uri(), winapi::code_page_utf8));
    }

    [[nodiscard]] const service_link& link() const noexcept { return *link_; }
    /// Returns true if the user specified a service and it could not be reached.
    [[nodiscard]] bool missing() const { return (!target_ || target_->asked_for()) && link_->refused(); }
    [[nodiscard]] std::string place() const
    {
        return "127.0.0.1:" + std::to_string(link_->get()->GetSettings()->ServerPort.Effective());
    }
    /// Returns the service; null if settings specify it.
    [[nodiscard]] const scan_target* target() const noexcept { return target_.get(); }

private:
    std::unique_ptr<scan_target> target_;
    std::unique_ptr<service_link> link_;
};

/// Returns the reader's own identity; null if none was specified.
std::shared_ptr<const smime_identity> load_identity(const mail_options& mail)
{
    return mail.smime_key.empty() ? nullptr
                                  : std::make_shared<const smime_identity>(mail.smime_key, mail.smime_certificate);
}

void expect_written(const logging::scoped_output& log, const std::string& file)
{
    if (const std::string why = log.failure(); !why.empty()) {
        throw output_failure(file.empty() ? "standard error" : file, why);
    }
}

/// Runs `make`. An exception is reported and yields an empty result.
template <typename Make>
auto attempt(Make&& make, const std::string& what, const console& where) -> std::optional<decltype(make())>
{
    try {
        return make();
    } catch (const std::exception& failure) {
        report(where, what, failure.what());
        return std::nullopt;
    }
}

} // namespace

exit_status run_open(const open_options& options, const mail_options& mail, const console& given)
{
    const console where = console_with(given, options.terminal);
    const interruption caught(where);
    const std::string& file = options.settings_file;
    const auto settings = attempt([&] { return std::make_unique<settings_input>(file); }, file, where);
    if (!settings || (!file.empty() && !attempt([&] { return load_settings((*settings)->path()); }, file, where))) {
        return interruption::signal() == 0 ? exit_status::usage : stopped_by(interruption::signal());
    }
    const auto identity = attempt([&] { return load_identity(mail); }, "S/MIME key", where);
    if (!identity) {
        return exit_status::usage;
    }
    const auto copies = attempt([&] { return make_copies(mail.saving); },
                                mail.saving.save_to.empty() ? "temporary folder" : mail.saving.save_to, where);
    if (!copies) {
        return exit_status::failed;
    }
    winapi::memory_registry values;
    fill_registry(values, registry_values(options));
    const winapi::registry_override override_registry(values);
    opening_totals totals;
    message_finder places(options.paths, {options.recursive, interruption::limits_of_inputs()});
    const expected_work expected = expected_work_of(options, where);
    const logging::scoped_output log(options.log_file, options.log_level);
    logging::apply_trace_configuration();

    const opening_service service(options, (*settings)->path());
    requested_page page(options.page, heading_of(options, service.target(), where.program), where);
    if (!page.good()) {
        return exit_status::failed;
    }
    {
        const auto answers = std::make_shared<answer_record>();
        const running_checker checker(observe_answers(service.link().get(), answers));
        mail_client client(checker.get(), *identity, answers);
        const message_reader read = [&mail](const message_place& place, const std::shared_ptr<store_context>& store) {
            return read_mail(place, store, mail.saved ? written_by::this_program : written_by::anyone);
        };
        const opening_plan plan{
            options.times, options.json, copies->get(), mail.saving.reopen, page.report(), expected, [&] {
                expect_written(log, options.log_file);
            }};
        open_messages(places, plan, read, client, where, totals);
    }
    if (service.missing()) {
        report(where, service.place(), "no scanning service answers there");
        totals.unanswered = std::max<std::size_t>(totals.unanswered, 1);
    }
    report_stop(options, totals, where);
    totals.unsaved += page.good() ? 0 : 1;
    return status_of(totals, options.fail_on);
}

} // namespace host
