// The time for which mail is opened unscanned after a service has started: from the moment it listens to the first
// opening that it judged. The link's own timer determines it, so the figures vary over its pause of one second.

#include "bench/counting_engine.h"
#include "bench/once.h"
#include "desk/cli/mail_client.h"
#include "desk/cli/service_link.h"
#include "mail/mime/reading/message_reader.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "service/scan_server.h"
#include "store/bytes.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using clock_type = std::chrono::steady_clock;
using milliseconds = std::chrono::duration<double, std::milli>;

constexpr int usual_rounds = 15;
/// Between two openings, as of somebody who pages through a folder.
constexpr std::chrono::milliseconds reading{5};
constexpr std::chrono::seconds longest_wait{30};

std::unique_ptr<service::scan_server> start_service(std::uint16_t port, std::shared_ptr<bench::counting_engine> engine)
{
    service::server_options options;
    options.port = port;
    options.preview = 0;
    options.custom_engine = std::move(engine);
    auto server = std::make_unique<service::scan_server>(options);
    server->start();
    return server;
}

/// Returns a port that a service has just released.
std::uint16_t free_port()
{
    const auto server = start_service(0, std::make_shared<bench::counting_engine>());
    const std::uint16_t port = server->port();
    server->stop();
    return port;
}

/// A user who reads mail over a link to that port.
class reader
{
public:
    explicit reader(std::uint16_t port)
        : link_(port, L"webscan")
    {
        MailCheckerServices services;
        services.link = link_.get();
        checker_ = std::make_shared<MailChecker>(std::move(services));
        checker_->Init(false, 1, "bench", "S-1-5-21-0-0-0-1000");
        client_ = std::make_unique<host::mail_client>(checker_);
    }
    reader(const reader&) = delete;
    reader& operator=(const reader&) = delete;
    ~reader()
    {
        client_.reset();
        checker_->Close();
    }

    /// Opens another message. Returns true if it was judged.
    bool open()
    {
        const std::string name = std::to_string(++number_);
        const std::string text =
            "Subject: Figures\r\nMessage-ID: <" + name + "@example.org>\r\n\r\nNothing special.\r\n";
        const auto message = std::make_shared<host::message_record>(
            host::read_message(host::bytes_of(text), name, std::make_shared<host::store_context>()));
        return client_->open(message).verdict != ScanResult::None;
    }

private:
    host::service_link link_;
    std::shared_ptr<MailChecker> checker_;
    std::unique_ptr<host::mail_client> client_;
    int number_ = 0;
};

milliseconds measure(int round, int rounds)
{
    const std::uint16_t port = free_port();
    reader desk(port);
    // The first opening connects by itself; the second asks the timer, as all later ones do. The service starts at
    // another moment of the timer's pause in each round.
    if (desk.open() || desk.open()) {
        throw std::runtime_error("somebody answers who should not");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(700 + 1000 * round / rounds));
    const auto engine = std::make_shared<bench::counting_engine>();
    const auto server = start_service(port, engine);
    const auto begin = clock_type::now();
    while (!desk.open()) {
        if (clock_type::now() - begin > longest_wait) {
            throw std::runtime_error("nothing is scanned");
        }
        std::this_thread::sleep_for(reading);
    }
    const milliseconds span = clock_type::now() - begin;
    // A scan that fails counts as clean, so that only the service knows what was scanned.
    if (engine->scans() != 1) {
        throw std::runtime_error("the opening counts as scanned, and was not");
    }
    return span;
}

} // namespace

int main(int count, char** arguments)
{
    bench::take_once(count, arguments);
    const int rounds = bench::usual_or_once(usual_rounds, 1);
    try {
        std::vector<milliseconds> spans;
        for (int round = 0; round < rounds; ++round) {
            spans.push_back(measure(round, rounds));
        }
        std::sort(spans.begin(), spans.end());
        std::printf("service_to_first_scanned_opening  rounds %d  least %.0f ms  median %.0f ms  most %.0f ms\n",
                    rounds, spans.front().count(), spans[spans.size() / 2].count(), spans.back().count());
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_link: %s\n", failure.what());
        return 1;
    }
}
