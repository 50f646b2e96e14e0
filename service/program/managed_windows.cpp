#include "service/program/managed_windows.h"

#include "service/manager/managed_run.h"
#include "service/program/serving.h"
#include "tool/system/conversions.h"

#include <cstdio>
#include <filesystem>

namespace service {

namespace {

/// Ended by the system's service manager, which learns how far the service is.
class managed_supervisor final : public supervisor
{
public:
    explicit managed_supervisor(const manager::managed_service& service)
        : service_(service)
    {}

    void listening(const scan_server& server, const server_options& settings) override
    {
        service_.events->started(server.port(), settings.engines);
        service_.status.running();
    }
    void wait(const reload_function& reload) override
    {
        while (service_.controls.take() == manager::control_queue::wish::reload) {
            if (const auto why = reload()) {
                service_.events->reload_refused(*why);
            } else {
                service_.events->reloaded();
            }
        }
    }
    void stopping() override { service_.status.stopping(); }
    [[nodiscard]] std::shared_ptr<happenings> listener() override { return service_.events; }

private:
    const manager::managed_service& service_;
};

/// A service starts in a folder of the system.
void add_relative(std::vector<std::string>& problems, const std::string& file)
{
    if (!file.empty() && !std::filesystem::path(file).is_absolute()) {
        problems.push_back(file + ": a service needs the full path of a file");
    }
}

std::vector<std::string> problems_of(const configuration& read)
{
    if (read.values.check_config || read.values.print_config) {
        return {"--check-config and --print-config are no options of a service"};
    }
    command_line values = read.values;
    std::vector<std::string> problems;
    if (values.server.port == 0) {
        problems.emplace_back("a service needs a --port, because nobody would learn of a free one");
    }
    add_relative(problems, values.config_file);
    add_relative(problems, values.log_file);
    add_relative(problems, values.server.notice_file);
    return problems;
}

void serve_managed(const std::vector<std::string>& arguments, const manager::managed_service& by)
{
    const configuration_reader reader(arguments, variable_of_process);
    const configuration read = reader.read();
    if (const auto problems = problems_of(read); !problems.empty()) {
        throw configuration_error(problems);
    }
    managed_supervisor supervisor(by);
    serve(reader, read, supervisor);
}

int run_managed(const std::vector<std::string>& arguments, const manager::managed_service& by)
{
    // The system gives a service no standard streams; the library of the log needs one that it can write to.
    (void)std::freopen("NUL", "w", stdout);
    (void)std::freopen("NUL", "w", stderr);
    const auto failure = failure_of_run([&] { serve_managed(arguments, by); });
    if (!failure) {
        by.events->stopped();
        return 0;
    }
    by.events->failed(failure->problems);
    return failure->status;
}

} // namespace

bool run_as_service(const std::vector<std::string>& arguments)
{
    return manager::may_be_service() && manager::run_for_manager([&arguments](const manager::managed_service& service) {
               return run_managed(arguments, service);
           });
}

std::vector<std::string> problems_of_service(const std::vector<std::wstring>& options)
{
    std::vector<std::string> arguments;
    arguments.reserve(options.size());
    for (const std::wstring& option : options) {
        arguments.push_back(winapi::conv_to_char(option));
    }
    std::vector<std::string> problems;
    const auto failure = failure_of_run([&] {
        // The variables of this process are not those of the service.
        const auto no_variables = [](const std::string& /*name*/) { return std::nullopt; };
        const configuration read = configuration_reader(arguments, no_variables).read();
        problems = problems_of(read);
        command_line values = read.values;
        values.log_file.clear(); // must be writable for the account of the service, not for this one
        const auto others = check(values);
        problems.insert(problems.end(), others.begin(), others.end());
    });
    return failure ? failure->problems : problems;
}

} // namespace service
