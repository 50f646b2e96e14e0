#include "service/engine/address_lookup.h"
#include "service/engine/icap_url.h"
#include "service/engine/scan_engine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace icap_url_test {

using namespace std::chrono_literals;
using service::address_lookup;
using service::read_icap_url;

std::string refusal(std::string_view text)
{
    try {
        (void)service::make_engine(text);
    } catch (const std::invalid_argument& failure) {
        return failure.what();
    }
    return "accepted";
}

TEST(icap_url, has_a_host_a_port_and_a_service)
{
    const auto named = read_icap_url("icap://scan-1.example.org:1345/av/scan?mode=simple");
    EXPECT_EQ(named.host, "scan-1.example.org");
    EXPECT_EQ(named.port, 1345U);
    EXPECT_EQ(named.service, "av/scan?mode=simple");
    EXPECT_EQ(named.text(), "icap://scan-1.example.org:1345/av/scan?mode=simple");
    EXPECT_EQ(read_icap_url("icap://192.0.2.1/s").text(), "icap://192.0.2.1:1344/s");
    const auto six = read_icap_url("icap://[2001:db8::1]:99/s");
    EXPECT_EQ(six.host, "2001:db8::1");
    EXPECT_EQ(six.text(), "icap://[2001:db8::1]:99/s");
    EXPECT_EQ(read_icap_url("icap://[::1]/s").port, 1344U);
    EXPECT_EQ(service::make_engine("icap://[::1]/s")->name(), "icap");
}

TEST(icap_url, is_refused_with_a_reason)
{
    EXPECT_EQ(refusal("icap://host"), "the name of the service is missing");
    EXPECT_EQ(refusal("icap://host/"), "the name of the service is missing");
    EXPECT_EQ(refusal("icap:///s"), "'' is not a host");
    EXPECT_EQ(refusal("icap://:1344/s"), "'' is not a host");
    EXPECT_EQ(refusal("icap://a b/s"), "'a b' is not a host");
    EXPECT_EQ(refusal("icap://user@host/s"), "'user@host' is not a host");
    EXPECT_EQ(refusal("icap://host/a b"), "'a b' is not the name of a service");
    EXPECT_EQ(refusal("icap://host/a\r\nb"), "'a\r\nb' is not the name of a service");
    EXPECT_EQ(refusal("icap://host:/s"), "'' is not a port");
    EXPECT_EQ(refusal("icap://host:x/s"), "'x' is not a port");
    EXPECT_EQ(refusal("icap://host:65536/s"), "'65536' is not a port");
    EXPECT_EQ(refusal("icap://host:0/s"), "port 0 is none to connect to");
    EXPECT_EQ(refusal("icap://[::1/s"), "'[::1' has no closing bracket");
    EXPECT_EQ(refusal("icap://[nonsense]/s"), "'[nonsense]' is not an address");
    EXPECT_EQ(refusal("icap://[::1]1344/s"), "'1344' is not a port");
    EXPECT_EQ(refusal("ICAP://host/s"), "unknown engine 'ICAP://host/s'");
}

TEST(percent_encoded, leaves_nothing_that_a_head_could_be_split_by)
{
    EXPECT_EQ(service::percent_encoded("Aa-9._"), "Aa-9._");
    EXPECT_EQ(service::percent_encoded("a b\r\n/%\xFF"), "a%20b%0D%0A%2F%25%FF");
}

TEST(address_lookup, needs_no_query_for_an_address)
{
    address_lookup four("127.0.0.1", 1,
                        [](auto&&...) -> address_lookup::addresses { throw std::logic_error("asked"); });
    EXPECT_EQ(four.find(1ms, {}).size(), 1U);
    address_lookup six("::1", 1, [](auto&&...) -> address_lookup::addresses { throw std::logic_error("asked"); });
    EXPECT_EQ(six.find(1ms, {}).size(), 1U);
}

TEST(address_lookup, asks_once_and_says_why_there_is_no_address)
{
    int asked = 0;
    address_lookup good("name", 7, [&](const std::string& host, std::uint16_t port) {
        ++asked;
        EXPECT_EQ(host, "name");
        return service::query_addresses("127.0.0.1", port);
    });
    EXPECT_EQ(good.find(1min, {}).size(), 1U);
    EXPECT_EQ(good.find(1min, {}).size(), 1U);
    EXPECT_EQ(asked, 1);
    address_lookup none("name", 7,
                        [](auto&&...) -> address_lookup::addresses { throw std::runtime_error("no such name"); });
    try {
        (void)none.find(1min, {});
        ADD_FAILURE();
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "look up: no such name");
    }
}

TEST(address_lookup, waits_no_longer_than_it_may)
{
    std::promise<void> release;
    std::promise<void> asked;
    const auto released = release.get_future().share();
    address_lookup slow("name", 7, [&asked, released](auto&&...) {
        asked.set_value();
        released.wait();
        return address_lookup::addresses{};
    });
    const auto failure_of = [&](std::chrono::milliseconds timeout, const service::stop_token& stop) -> std::string {
        try {
            (void)slow.find(timeout, stop);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return {};
    };
    EXPECT_EQ(failure_of(10ms, {}), "look up: no answer in time");
    service::stop_source stop;
    std::thread stopper([&] { stop.request_stop(); });
    EXPECT_EQ(failure_of(1h, stop.get_token()), "look up: the service is stopping");
    stopper.join();
    asked.get_future().wait();
    release.set_value();
}

} // namespace icap_url_test
