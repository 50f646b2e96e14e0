// The add-in's cost for its client, measured through COM as the client would use it: the registered module, connected,
// with real messages and a service in this process. Windows only; "regsvr32 postwarden.dll" must have been run before.

#include "bench/counting_engine.h"
#include "bench/once.h"
#include "client/mailhost/broker_class.h"
#include "client/mailhost/loaded_addins.h"
#include "client/model/outlook_client.h"
#include "desk/run/snapshot.h"
#include "service/scan_server.h"
#include "settings/settings_blob.h"
#include "tool/icap_client/session_manager.h"
#include "tool/web/body_store.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace host;
using clock_type = std::chrono::steady_clock;
using microseconds = std::chrono::duration<double, std::micro>;

constexpr int usual_connections = 50;
constexpr int usual_openings = 1000;
constexpr std::size_t body_size = 65536;

double time_of(const std::function<void()>& work)
{
    const auto start = clock_type::now();
    work();
    return microseconds(clock_type::now() - start).count();
}

double median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/// Returns the median time of `work` in microseconds.
double median(int rounds, const std::function<void()>& work)
{
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(rounds));
    for (int i = 0; i < rounds; ++i) {
        times.push_back(time_of(work));
    }
    return median(std::move(times));
}

std::shared_ptr<message_record> new_message(const std::string& body)
{
    static int made = 0;
    static const auto store = std::make_shared<store_context>(); // names of properties hold for a whole store
    auto message = std::make_shared<message_record>();
    message->store = store;
    property_bag& properties = *message->properties;
    properties.set(PR_ENTRYID, property_value::of_binary(bytes_of("bench " + std::to_string(++made))));
    properties.set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
    properties.set(PR_SUBJECT_W, property_value::of_text(L"Crane inspection"));
    properties.set(PR_NATIVE_BODY_INFO, property_value::of_long(3));
    properties.set(PR_HTML, property_value::of_binary(bytes_of(body)));
    return message;
}

/// Returns a message with the verdict that the add-in has stored on it.
std::shared_ptr<message_record> judged_message(outlook_client& client)
{
    const auto message = new_message("Nothing of note.");
    return std::make_shared<message_record>(client.open(message).shown.copy());
}

void offer_settings(std::uint16_t port)
{
    DOVA::Settings::WebTrafficMonitorSettings settings;
    settings.ServerPort.value = port;
    settings.ServerPort.isSet = true;
    offer_broker(
        [blob = DOVA::Settings::BlobFromSettings(settings)](VARIANT& value) { return put_bytes(blob, value); });
}

void tell_size()
{
    std::array<wchar_t, MAX_PATH> path{};
    WIN32_FILE_ATTRIBUTE_DATA facts{};
    GetModuleFileNameW(GetModuleHandleW(L"postwarden.dll"), path.data(), static_cast<DWORD>(path.size()));
    if (GetFileAttributesExW(path.data(), GetFileExInfoStandard, &facts) != 0) {
        std::printf("%-44s %10lu bytes\n", "the module", facts.nFileSizeLow);
    }
}

void tell(const char* what, double time)
{
    std::printf("%-44s %10.1f us\n", what, time);
}

/// Scans of one body without the add-in: the exchange with the service alone.
class bare_exchange
{
public:
    bare_exchange(std::uint16_t port, const std::string& body)
        : pool_(std::make_shared<icap::client::session_manager>(
              icap::client::session_manager_parameters{L"127.0.0.1", port, L"/webscan"}, 1U))
    {
        record_.user_name = "S-1-5-21-0-0-0-1000";
        record_.process_name = "bench";
        record_.mime_type = "text/html";
        record_.data = web::make_body_store(static_cast<std::uint32_t>(body.size()));
        record_.data->append(body.data(), body.size());
        record_.timeout = 60000;
    }
    bare_exchange(const bare_exchange&) = delete;
    bare_exchange& operator=(const bare_exchange&) = delete;
    ~bare_exchange() { pool_->terminate(); }

    void scan()
    {
        icap::client::session_lease lease(pool_);
        icap::client::session::answer_ptr answer;
        if (lease->scan(record_, answer) != ScanResult::Clean) {
            throw std::runtime_error("the service does not clear the body");
        }
    }

private:
    std::shared_ptr<icap::client::session_manager> pool_;
    icap::client::scan_mail record_;
};

void expect(bool truth, const char* what)
{
    if (!truth) {
        throw std::runtime_error(what);
    }
}

void expect_clean(const message_record& message)
{
    const auto verdict = take_snapshot(message).verdict_property;
    expect(verdict == static_cast<std::uint32_t>(ScanResult::Clean),
           "the add-in has put no verdict on a message: is it connected to the service?");
}

void run()
{
    const int connections = bench::usual_or_once(usual_connections, 2);
    const int openings = bench::usual_or_once(usual_openings, 5);
    const auto engine = std::make_shared<bench::counting_engine>();
    service::server_options options;
    options.custom_engine = engine;
    service::scan_server server(options);
    server.start();
    offer_settings(server.port());
    const auto program = MakeCom<application>(L"16.0.4266.1001");
    check_outcome unheard; // the trace remains off, as in everyday use
    outlook_client client(program, unheard);
    const std::string body(body_size, 'x');

    std::unique_ptr<loaded_addins> at_first;
    const double first = time_of([&] { at_first = std::make_unique<loaded_addins>(program); });
    at_first.reset();
    tell("first load and connection", first);
    tell_size();
    tell("later connection and disconnection", median(connections, [&] { const loaded_addins once(program); }));

    const auto blank = new_message("Nothing of note.");
    const double alone = median(openings, [&] { client.open(blank); });
    tell("opening without the add-in", alone);

    loaded_addins addins(program);
    addins.startup_complete();
    const auto judged = judged_message(client);
    expect_clean(*judged);
    expect(engine->scans() == 1, "the first message was not scanned");
    const std::uint64_t first_size = engine->scanned_bytes();
    tell("opening with a stored verdict", median(openings, [&] { client.open(judged); }));
    expect(engine->scans() == 1, "a message with a stored verdict was scanned");

    // Alternates the two, so that load on the machine slows both.
    bare_exchange exchange(server.port(), body);
    std::vector<double> openings_with_a_scan;
    std::vector<double> exchanges;
    for (int i = 0; i < openings; ++i) {
        const auto message = new_message(body);
        opening opened;
        openings_with_a_scan.push_back(time_of([&] { opened = client.open(message); }));
        expect_clean(opened.shown);
        exchanges.push_back(time_of([&] { exchange.scan(); }));
    }
    const auto scans = 2 * static_cast<std::uint64_t>(openings);
    expect(engine->scans() == 1 + scans, "not every body was scanned");
    expect(engine->scanned_bytes() == first_size + scans * body_size, "bodies of another size were scanned");
    const double scanned = median(std::move(openings_with_a_scan));
    const double wire = median(std::move(exchanges));
    tell("opening with a clean body of 64 KiB", scanned);
    tell("the exchange with the service in that", wire);
    std::printf("%-44s %10.1f %%\n", "share of the add-in itself", 100.0 * (scanned - alone - wire) / scanned);
}

} // namespace

int main(int count, char** arguments)
{
    bench::take_once(count, arguments);
    OleInitialize(nullptr);
    int status = 0;
    try {
        run();
    } catch (const std::exception& failure) {
        static_cast<void>(std::fprintf(stderr, "bench_addin: %s\n", failure.what()));
        status = 1;
    }
    offer_broker({});
    OleUninitialize();
    return status;
}
