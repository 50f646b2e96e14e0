#include "service/program/console.h"

#include "command/program_version.h"
#include "service/journal.h"
#include "service/program/manager_notice.h"
#include "service/program/serving.h"
#include "service/reload_signal.h"

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string>

namespace service {

namespace {

/// Ended by a signal. The parent process learns from standard output how far the service is, and a manager that waits
/// for reports from these.
class console_supervisor final : public supervisor
{
public:
    console_supervisor()
    {
        if (const auto reload = reload_signal()) {
            awaited_.add(*reload);
        }
    }

    void listening(const scan_server& server, const server_options& settings) override
    {
        std::cout << "listening on 127.0.0.1:" << server.port() << std::endl; // the parent process waits for this line
        if (settings.metrics_port) {
            std::cout << "metrics on 127.0.0.1:" << server.metrics_port() << std::endl;
        }
        manager_.ready("listening on 127.0.0.1:" + std::to_string(server.port()));
    }
    void wait(const reload_function& reload) override
    {
        await_signal(reload);
        signals_.run();
    }
    void stopping() override { manager_.stopping(); }
    [[nodiscard]] std::shared_ptr<happenings> listener() override { return nullptr; }

private:
    /// Calls `reload` for each signal that asks for it; any other leaves nothing to wait for.
    void await_signal(const reload_function& reload)
    {
        awaited_.async_wait([this, &reload](const boost::system::error_code& error, int signal) {
            if (!error && signal == reload_signal()) {
                manager_.reloading();
                (void)reload(); // has logged the result
                manager_.ready();
                await_signal(reload);
            }
        });
    }

    manager_notice manager_;
    boost::asio::io_context signals_;
    boost::asio::signal_set awaited_{signals_, SIGINT, SIGTERM};
};

/// Prints what the options that only look at the configuration ask for. Returns the exit status.
int look_at(const configuration& read)
{
    if (!read.values.check_config) {
        std::cout << printed(read);
        return 0;
    }
    const std::vector<std::string> problems = check(read.values);
    std::for_each(problems.begin(), problems.end(), complain);
    if (!problems.empty()) {
        return usage_error;
    }
    std::cout << "the configuration is valid\n";
    return 0;
}

int run(CLI::App& app, const std::vector<std::string>& arguments, const command_line& values)
{
    parse_arguments(app, arguments);
    const configuration_reader reader(arguments, variable_of_process);
    const configuration read = reader.read();
    if (values.check_config || values.print_config) {
        return look_at(read);
    }
    console_supervisor by;
    serve(reader, read, by);
    return 0;
}

} // namespace

int run_on_console(const std::vector<std::string>& arguments)
{
    CLI::App app("A local ICAP/1.0 scanning service for postwarden.", "postwarden-service");
    command_line values;
    add_options(app, values);
    app.set_version_flag("--version", "postwarden-service " + std::string(command::program_version()),
                         "Print the version and end");
    int status = 0;
    const auto failure = failure_of_run([&] {
        try {
            status = run(app, arguments, values);
        } catch (const CLI::Success& shown) { // --help, --version
            status = app.exit(shown);
        }
    });
    if (failure) {
        std::for_each(failure->problems.begin(), failure->problems.end(), complain);
        return failure->status;
    }
    return status;
}

void complain(const std::string& what)
{
    if (standard_error_is_journal()) {
        std::cerr << journal_prefix(logging::priority::error);
    }
    std::cerr << "postwarden-service: " << what << '\n';
}

} // namespace service
