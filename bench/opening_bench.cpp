// Openings of messages through the whole logic: scanned each time, and with the verdict stored on the message.

#include "bench/checked_state.h"
#include "bench/sink_peer.h"
#include "desk/cli/mail_client.h"
#include "desk/cli/service_link.h"
#include "mail/mime/reading/message_reader.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "store/bytes.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace {

/// A user who reads mail, with a service that lets everything through.
class reader
{
public:
    reader()
        : peer_(bench::sink_peer::kind::icap)
    {
        MailCheckerServices services;
        services.link = host::service_link(peer_.port(), L"bench").get();
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

    host::opening open(const std::shared_ptr<host::message_record>& message) { return client_->open(message); }
    [[nodiscard]] const bench::sink_peer& peer() const noexcept { return peer_; }

private:
    bench::sink_peer peer_;
    std::shared_ptr<MailChecker> checker_;
    std::unique_ptr<host::mail_client> client_;
};

constexpr std::size_t body_size = 4096;

std::shared_ptr<host::message_record> make_message(std::uint64_t number)
{
    std::string text = "From: Ada <ada@example.org>\r\nSubject: Figures\r\nMessage-ID: <" + std::to_string(number) +
                       "@example.org>\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n";
    text.append(body_size, 'x');
    return std::make_shared<host::message_record>(host::read_message(
        host::bytes_of(std::move(text)), std::to_string(number), std::make_shared<host::store_context>()));
}

void opening_with_a_scan(benchmark::State& state)
{
    reader desk;
    std::uint64_t number = 1;
    desk.open(make_message(number)); // connects, and asks the peer for its health
    bench::expect(state, desk.peer().health_questions() > 0, "the peer has not answered a health question");
    for (auto _ : state) {
        state.PauseTiming();
        const auto message = make_message(++number);
        state.ResumeTiming();
        const host::opening opened = desk.open(message);
        if (!bench::expect(state, opened.result == S_OK && opened.verdict == ScanResult::Clean, "not judged clean")) {
            break;
        }
    }
    // A scan that fails counts as clean, so that only the peer knows what was scanned.
    bench::expect(state, desk.peer().scans() == number, "not every message was scanned");
    bench::expect(state, desk.peer().scanned_bytes() == number * body_size, "bodies of another size were scanned");
}
BENCHMARK(opening_with_a_scan)->UseRealTime()->Unit(benchmark::kMicrosecond);

void opening_with_a_stored_verdict(benchmark::State& state)
{
    reader desk;
    const auto first = desk.open(make_message(1));
    const auto judged = std::make_shared<host::message_record>(first.shown.copy());
    const auto before = desk.peer().received();
    bench::expect(state, first.verdict == ScanResult::Clean && desk.peer().scans() == 1, "not judged at first");
    for (auto _ : state) {
        if (!bench::expect(state, desk.open(judged).verdict == ScanResult::Clean, "the verdict was not found")) {
            break;
        }
    }
    bench::expect(state, desk.peer().received() == before, "something went over the wire");
    state.counters["bytes_on_the_wire"] = static_cast<double>(desk.peer().received() - before);
}
BENCHMARK(opening_with_a_stored_verdict)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
