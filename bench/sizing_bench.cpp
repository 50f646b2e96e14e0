// The scanning service of a terminal server with many users: what the load of their morning costs it, and what it can
// do. docs/administration.md has the figures.

#include "bench/clamd_floor.h"
#include "bench/icap_load.h"
#include "bench/once.h"
#include "bench/process_figures.h"
#include "tests/support/child_process.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr double mebibyte = 1048576;
constexpr std::string_view floor_option = "--serve-clamd-floor"; ///< what the program starts itself with

constexpr std::size_t body = 4096;
constexpr std::size_t document = 102400;
constexpr std::size_t picture = 1048576;

/// Of ten mails five have an attachment. Sizes in the order in which the objects are opened.
std::vector<std::size_t> ten_mails()
{
    return {body, document, body,     body, document, body,     body, picture,
            body, body,     document, body, body,     document, body};
}

/// Takes the port from the end of the first line that a program prints.
std::uint16_t read_port(test::child_process& process)
{
    const std::string line = process.read_line().value_or("");
    const std::size_t colon = line.rfind(':');
    std::uint16_t port = 0;
    if (colon != std::string::npos) {
        std::from_chars(line.data() + colon + 1, line.data() + line.size(), port);
    }
    if (port == 0) {
        throw std::runtime_error("a program does not start: " + process.errors());
    }
    return port;
}

struct engine
{
    std::string name;   ///< for the reader
    std::string option; ///< of the service; empty: the stand-in for clamd
    milliseconds pause{0};
};

/// What one run cost the service.
struct costs
{
    double idle_memory = 0; ///< bytes for each connection
    double processor_seconds = 0;
    double peak_memory = 0; ///< bytes
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

/// A service that was started for one run.
class measured_service
{
public:
    explicit measured_service(const engine& judge)
    {
        std::string option = judge.option;
        if (option.empty()) {
            daemon_ = std::make_unique<test::child_process>(
                "/proc/self/exe",
                std::vector<std::string>{std::string(floor_option), std::to_string(judge.pause.count())});
            option = "clamd:tcp:127.0.0.1:" + std::to_string(read_port(*daemon_));
        }
        service_ = std::make_unique<test::child_process>(SERVICE_PROGRAM,
                                                         std::vector<std::string>{"--port", "0", "--engine", option});
        port_ = read_port(*service_);
    }

    bench::icap_load_result run(bench::icap_load load, costs& result)
    {
        const int process = service_->id();
        const double memory = bench::memory_of(process);
        std::chrono::nanoseconds begun{0};
        load.port = port_;
        load.service = "webscan";
        load.chunk_size = 4096; // what the mail add-in writes at a time
        load.write_each_chunk = true;
        load.connected = [&] {
            await_connections(load.connections);
            result.idle_memory = (bench::memory_of(process) - memory) / static_cast<double>(load.connections);
            begun = bench::processor_time_of(process);
        };
        load.answered = [&] {
            result.processor_seconds = std::chrono::duration<double>(bench::processor_time_of(process) - begun).count();
            result.peak_memory = bench::peak_memory_of(process);
            result.descriptors = bench::descriptors_of(process);
            result.threads = bench::threads_of(process);
        };
        return bench::run(load);
    }

private:
    /// A connection counts for its peer before the service has accepted it. Returns when the service opens nothing
    /// more.
    void await_connections(std::size_t count)
    {
        constexpr int attempts = 1000;
        constexpr int quiet_attempts = 10;
        constexpr milliseconds pause{10};
        std::size_t last = 0;
        for (int i = 0, quiet = 0; i < attempts && quiet < quiet_attempts; ++i) {
            const std::size_t now = bench::descriptors_of(service_->id());
            quiet = now >= count && now == last ? quiet + 1 : 0;
            last = now;
            std::this_thread::sleep_for(pause);
        }
    }

    std::unique_ptr<test::child_process> daemon_;
    std::unique_ptr<test::child_process> service_;
    std::uint16_t port_ = 0;
};

/// Returns false, and says so, unless every object was found clean.
bool all_clean(const engine& judge, const bench::icap_load_result& result)
{
    if (result.answers.size() == 1 && result.answers.begin()->first == 204) {
        return true;
    }
    std::string text;
    for (const auto& [status, count] : result.answers) {
        text += " " + std::to_string(status) + ":" + std::to_string(count);
    }
    (void)std::fprintf(stderr, "%s: not every answer is 204:%s\n", judge.name.c_str(), text.c_str());
    return false;
}

void print_costs(const engine& judge, const char* what, const bench::icap_load_result& result, const costs& cost)
{
    std::printf("%-19s %-12s %9.1f %9.3f %9.2f %9.1f %9.1f %6zu %7zu\n", judge.name.c_str(), what,
                static_cast<double>(result.requests()) / result.seconds,
                1000 * cost.processor_seconds / static_cast<double>(result.requests()),
                100 * cost.processor_seconds / result.seconds, cost.peak_memory / mebibyte, cost.idle_memory / 1024,
                cost.descriptors, cost.threads);
}

bool measure_morning(const engine& judge, std::size_t connections, int objects_a_second)
{
    constexpr std::chrono::nanoseconds second = std::chrono::seconds(1);
    bench::icap_load load;
    load.connections = connections;
    load.object_sizes = ten_mails();
    load.time = bench::usual_or_once(milliseconds(60000), milliseconds(200));
    load.interval = second / objects_a_second;
    costs cost;
    const auto result = measured_service(judge).run(load, cost);
    print_costs(judge, "the morning", result, cost);
    for (const auto& [size, latencies] : result.of_sizes) {
        std::printf("    %8zu bytes: %6zu objects; ms at 50%% %.2f, 99%% %.2f, 99.9%% %.2f, longest %.2f\n", size,
                    latencies.size(), bench::percentile(latencies, 0.5), bench::percentile(latencies, 0.99),
                    bench::percentile(latencies, 0.999), latencies.back());
    }
    const bool complete = result.of_sizes.size() == 3;
    if (!complete) {
        (void)std::fprintf(stderr, "%s: not every size was sent\n", judge.name.c_str());
    }
    return all_clean(judge, result) && complete;
}

/// Every connection asks again at once.
bool measure_most(const engine& judge, std::size_t connections, std::size_t size)
{
    bench::icap_load load;
    load.connections = connections;
    load.object_sizes = {size};
    load.time = bench::usual_or_once(milliseconds(10000), milliseconds(100));
    costs cost;
    const auto result = measured_service(judge).run(load, cost);
    print_costs(judge, std::to_string(size).c_str(), result, cost);
    return all_clean(judge, result);
}

int measure_all(const std::vector<engine>& engines)
{
    constexpr int usual_rate = 25;
    const std::size_t connections = bench::usual_or_once<std::size_t>(500, 20);
    const int rate = bench::usual_or_once(usual_rate, 20 * usual_rate);
    std::printf("%zu connections. The morning: %d objects a second, of ten mails 10 of %zu bytes, 4 of %zu, 1 of %zu.\n"
                "Other lines: objects of one size, as many as the service judges.\n\n"
                "%-19s %-12s %9s %9s %9s %9s %9s %6s %7s\n",
                connections, rate, body, document, picture, "engine", "objects", "a second", "CPU s/1k", "CPU %",
                "peak MiB", "KiB/idle", "files", "threads");
    bool good = true;
    for (const engine& judge : engines) {
        good = measure_morning(judge, connections, rate) && good;
        if (judge.pause.count() != 0) {
            continue; // it could do no more than its pause allows
        }
        for (const std::size_t size : {body, document, picture}) {
            good = measure_most(judge, connections, size) && good;
        }
    }
    return good ? 0 : 1;
}

std::vector<engine> engines_of(int count, char** arguments)
{
    constexpr milliseconds pause{50};
    std::vector<engine> engines;
    for (int i = 1; i < count; ++i) {
        engines.push_back({arguments[i], arguments[i]});
    }
    if (engines.empty()) {
        engines = {{"builtin", "builtin"}, {"clamd stand-in", ""}, {"clamd, 50 ms", "", pause}};
    }
    return engines;
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 3 && arguments[1] == floor_option) {
        return bench::serve_clamd_floor(milliseconds(std::atoi(arguments[2])));
    }
    bench::take_once(count, arguments);
    (void)std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // a run takes minutes
    try {
        return measure_all(engines_of(count, arguments));
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "bench_sizing: %s\n", failure.what());
        return 1;
    }
}
