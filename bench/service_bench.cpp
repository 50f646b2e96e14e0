// The scanning service under load, and beside it a peer that only receives and answers, and another ICAP server with a
// service that judges nothing: the same clients ask all in turn.

#include "bench/icap_load.h"
#include "bench/once.h"
#include "bench/process_figures.h"
#include "bench/wire_floor.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr double mebibyte = 1048576;
constexpr std::string_view floor_option = "--serve-wire-floor"; ///< what the program starts itself with

/// A server under test.
class subject
{
public:
    subject(std::string name, std::string service)
        : name_(std::move(name))
        , service_(std::move(service))
    {}
    subject(const subject&) = delete;
    subject& operator=(const subject&) = delete;
    virtual ~subject() = default;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    [[nodiscard]] double memory() const { return bench::memory_of(process_->id()); }

    [[nodiscard]] bench::icap_load_result run(bench::icap_load load) const
    {
        load.port = port_;
        load.service = service_;
        try {
            return bench::run(load);
        } catch (const std::exception& failure) {
            throw std::runtime_error(name_ + ", " + std::to_string(load.connections) +
                                     " connections: " + failure.what());
        }
    }

protected:
    void start(const std::string& program, const std::vector<std::string>& arguments)
    {
        process_ = std::make_unique<test::child_process>(program, arguments);
    }
    [[nodiscard]] test::child_process& process() noexcept { return *process_; }
    /// Takes the port from the end of the first line that the program prints.
    void read_port()
    {
        const std::string line = process().read_line().value_or("");
        const std::size_t colon = line.rfind(':');
        if (colon != std::string::npos) {
            std::from_chars(line.data() + colon + 1, line.data() + line.size(), port_);
        }
        if (port_ == 0) {
            throw std::runtime_error(name_ + " does not start: " + process().errors());
        }
    }
    std::uint16_t port_ = 0;

private:
    std::string name_;
    std::string service_;
    std::unique_ptr<test::child_process> process_;
};

class postwarden_service final : public subject
{
public:
    postwarden_service()
        : subject("postwarden-service", "webscan")
    {
        start(SERVICE_PROGRAM, {"--port", "0"});
        read_port();
    }
};

/// What the sockets alone cost.
class wire_floor final : public subject
{
public:
    wire_floor()
        : subject("the wire alone", "webscan")
    {
        start("/proc/self/exe", {std::string(floor_option)});
        read_port();
    }
};

std::uint16_t free_port()
{
    const int made = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    (void)::bind(made, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(made, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(made);
    return ntohs(address.sin_port);
}

/// The c-icap server with its echo service. Each of its threads serves one connection.
class c_icap final : public subject
{
public:
    explicit c_icap(const std::string& program)
        : subject("c-icap echo", "echo")
    {
        port_ = free_port();
        const std::string folder = folder_.path().string();
        const std::string config = folder + "/c-icap.conf";
        std::ofstream(config)
            << "Port 127.0.0.1:" << port_ << "\nPidFile " << folder << "/pid\nCommandsSocket " << folder
            << "/ctl\nServerLog " << folder << "/server.log\nTmpDir " << folder
            << "\nModulesDir /usr/lib/x86_64-linux-gnu/c_icap\nServicesDir /usr/lib/x86_64-linux-gnu/c_icap"
            << "\nService echo srv_echo.so\nTimeout 300\nMaxKeepAliveRequests -1"
            << "\nKeepAliveTimeout 600\nStartServers 2\nMaxServers 4\nThreadsPerChild 300"
            << "\nMinSpareThreads 20\nMaxSpareThreads 1200\nMaxRequestsPerChild 0\n";
        start(program, {"-N", "-f", config});
        await_port();
    }

private:
    /// Asks until the server answers.
    void await_port()
    {
        constexpr int attempts = 200;
        constexpr milliseconds pause{50};
        for (int i = 0; i < attempts; ++i) {
            try {
                bench::icap_load load;
                load.most_requests = 1;
                load.time = std::chrono::seconds(1);
                (void)run(load);
                return;
            } catch (const std::exception&) {
                std::this_thread::sleep_for(pause);
            }
        }
        throw std::runtime_error("the other server does not answer: " + process().errors());
    }

    host::test::temporary_folder folder_;
};

struct cell
{
    std::size_t connections;
    std::size_t object_size;
};

/// One server in one cell, over all rounds.
struct measured
{
    std::vector<double> rates; ///< requests a second of each round
    std::vector<float> latencies;
    double memory = 0;
    std::map<int, std::uint64_t> answers;

    void add(const bench::icap_load_result& result)
    {
        rates.push_back(static_cast<double>(result.requests()) / result.seconds);
        latencies.insert(latencies.end(), result.latencies.begin(), result.latencies.end());
        for (const auto& [status, count] : result.answers) {
            answers[status] += count;
        }
    }
    [[nodiscard]] double rate() const
    {
        std::vector<double> sorted = rates;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0 : sorted[sorted.size() / 2];
    }
};

void print(const std::string& name, const cell& where, measured& result, double idle_memory, double compared_with)
{
    bench::icap_load_result all;
    all.latencies = std::move(result.latencies);
    std::sort(all.latencies.begin(), all.latencies.end());
    std::string statuses;
    for (const auto& [status, count] : result.answers) {
        statuses += " " + std::to_string(status) + ":" + std::to_string(count);
    }
    std::printf("%4zu %8zu  %-19s %9.0f %9.3f %9.3f %9.3f %9.2f %8.1f", where.connections, where.object_size,
                name.c_str(), result.rate(), all.percentile(0.5), all.percentile(0.99), all.percentile(0.999),
                result.memory / mebibyte,
                (result.memory - idle_memory) / 1024 / static_cast<double>(where.connections));
    if (compared_with > 0) {
        std::printf("  %5.2f", result.rate() / compared_with);
    } else {
        std::printf("  %5s", "");
    }
    std::printf(" %s\n", statuses.c_str());
}

/// Returns false if an answer was none of a server that found nothing.
bool measure(const cell& where, const std::vector<std::unique_ptr<subject>>& subjects, int rounds, milliseconds time)
{
    std::vector<measured> results(subjects.size());
    std::vector<double> idle;
    idle.reserve(subjects.size());
    for (const auto& one : subjects) {
        idle.push_back(one->memory());
    }
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < subjects.size(); ++i) {
            bench::icap_load load;
            load.connections = where.connections;
            load.object_sizes = {where.object_size};
            load.time = time;
            results[i].add(subjects[i]->run(load));
            results[i].memory = std::max(results[i].memory, subjects[i]->memory());
        }
    }
    bool good = true;
    for (std::size_t i = 0; i < subjects.size(); ++i) {
        for (const auto& [status, count] : results[i].answers) {
            good = good && (status == 204 || status == 200) && count != 0;
        }
        good = good && !results[i].answers.empty();
        print(subjects[i]->name(), where, results[i], idle[i], i + 1 < subjects.size() ? results.back().rate() : 0);
    }
    return good;
}

/// Returns the path of the other server's program, if it is installed.
std::optional<std::string> find_other()
{
    for (const char* const path : {"/usr/bin/c-icap", "/usr/sbin/c-icap", "/usr/local/bin/c-icap"}) {
        if (std::filesystem::exists(path)) {
            return path;
        }
    }
    return std::nullopt;
}

int measure_all(const std::vector<cell>& cells)
{
    const int rounds = bench::usual_or_once(5, 1);
    const milliseconds time = bench::usual_or_once(milliseconds(2000), milliseconds(100));
    std::vector<std::unique_ptr<subject>> subjects;
    subjects.push_back(std::make_unique<postwarden_service>());
    subjects.push_back(std::make_unique<wire_floor>());
    if (const auto other = find_other()) {
        subjects.push_back(std::make_unique<c_icap>(*other));
    } else {
        std::puts("c-icap is not installed: no server to compare with");
    }
    std::printf("%4s %8s  %-19s %9s %9s %9s %9s %9s %8s  %5s  %s\n", "conn", "bytes", "server", "req/s", "50% ms",
                "99% ms", "99.9% ms", "MiB", "KiB/conn", "ratio", "answers");
    bool good = true;
    for (const cell& where : cells) {
        good = measure(where, subjects, rounds, time) && good;
    }
    return good ? 0 : 1;
}

std::vector<cell> usual_cells()
{
    std::vector<cell> cells;
    for (const std::size_t size : {std::size_t{4096}, std::size_t{1} << 20U}) {
        for (const std::size_t connections : {1U, 16U, 40U, 500U}) {
            cells.push_back({connections, size});
        }
    }
    return cells;
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 2 && arguments[1] == floor_option) {
        return bench::serve_wire_floor();
    }
    bench::take_once(count, arguments);
    try {
        // Arguments are pairs of connections and bytes.
        std::vector<cell> cells;
        for (int i = 1; i + 1 < count; i += 2) {
            cells.push_back({std::stoul(arguments[i]), std::stoul(arguments[i + 1])});
        }
        return measure_all(cells.empty() ? usual_cells() : cells);
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "bench_service: %s\n", failure.what());
        return 1;
    }
}
