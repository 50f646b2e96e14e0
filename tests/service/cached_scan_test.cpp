#include "service/cached_scan.h"
#include "service/engine/builtin_engine.h"
#include "tests/service/engine/given_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace cached_scan_test {

using service::blocked_verdict;
using service::clean_verdict;
using service::verdict;
using test::given_engine;

class cached_scan : public testing::Test
{
protected:
    cached_scan() { tag.refresh(); }

    std::size_t scan(std::string_view content, const std::string& name = "")
    {
        const auto store = web::make_body_store(content.size());
        EXPECT_EQ(store->append(content.data(), content.size()), content.size());
        last = service::cached_scan(cache, tag, *engine, {name, content.size()}, *store, stop.get_token());
        return static_cast<std::size_t>(engine->scans());
    }

    given_engine::judge judge = [](const std::string&) -> verdict { return clean_verdict{}; };
    std::shared_ptr<given_engine> engine =
        std::make_shared<given_engine>([this](const std::string& object) { return judge(object); });
    service::stop_source stop;
    service::istag tag{engine, {}};
    service::verdict_cache cache{100};
    verdict last;
};

TEST_F(cached_scan, asks_the_engine_once_about_an_object)
{
    EXPECT_EQ(scan("one"), 1U);
    EXPECT_EQ(scan("one"), 1U);
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(last));
    judge = [](const std::string&) -> verdict { return blocked_verdict{"Some.Threat"}; };
    EXPECT_EQ(scan("two"), 2U);
    EXPECT_EQ(scan("two"), 2U);
    ASSERT_TRUE(std::holds_alternative<blocked_verdict>(last));
    EXPECT_EQ(std::get<blocked_verdict>(last).threat, "Some.Threat");
    EXPECT_EQ(scan(""), 3U);
    EXPECT_EQ(scan(""), 3U);
}

TEST_F(cached_scan, asks_about_objects_that_differ_in_one_byte_or_in_name)
{
    const std::string content(200000, 'x');
    EXPECT_EQ(scan(content), 1U);
    std::size_t scans = 1;
    for (const std::size_t place : {std::size_t{0}, std::size_t{65535}, std::size_t{65536}, content.size() - 1}) {
        std::string other = content;
        other[place] = 'y';
        EXPECT_EQ(scan(other), ++scans) << place;
    }
    EXPECT_EQ(scan(content + 'x'), ++scans);
    EXPECT_EQ(scan(content.substr(1)), ++scans);
    EXPECT_EQ(scan(content, "a"), ++scans);
    EXPECT_EQ(scan("b" + content, "a"), ++scans);
    EXPECT_EQ(scan(content, "ab"), ++scans);
    EXPECT_EQ(scan(content), scans);
}

TEST_F(cached_scan, keeps_no_failure)
{
    const std::vector<given_engine::judge> failures{
        [](const std::string&) -> verdict { return service::error_verdict{"gone"}; },
        [](const std::string&) -> verdict { throw std::runtime_error("gone"); },
        [](const std::string&) -> verdict { return service::unchecked_verdict{"encrypted"}; },
        [](const std::string&) -> verdict {
            return service::repaired_verdict{"Some.Threat", web::make_body_store(0)};
        },
    };
    std::size_t scans = 0;
    for (const auto& failure : failures) {
        judge = failure;
        EXPECT_EQ(scan("one"), ++scans);
        EXPECT_EQ(scan("one"), ++scans);
    }
    EXPECT_EQ(cache.numbers().entries, 0U);
    judge = [](const std::string&) -> verdict { return clean_verdict{}; };
    EXPECT_EQ(scan("one"), ++scans);
    EXPECT_EQ(scan("one"), scans);
}

TEST_F(cached_scan, keeps_nothing_of_a_scan_that_was_stopped)
{
    judge = [this](const std::string&) -> verdict {
        stop.request_stop();
        return clean_verdict{};
    };
    scan("one");
    EXPECT_EQ(engine->scans(), 1);
    EXPECT_EQ(cache.numbers().entries, 0U);
}

TEST_F(cached_scan, keeps_nothing_beyond_a_change_of_the_engine)
{
    EXPECT_EQ(scan("one"), 1U);
    engine->set_identity("2");
    EXPECT_EQ(scan("one"), 1U) << "not noticed yet";
    tag.refresh();
    EXPECT_EQ(scan("one"), 2U);
    EXPECT_EQ(scan("one"), 2U);
    // Back again: what was known of it is not.
    engine->set_identity("1");
    tag.refresh();
    EXPECT_EQ(scan("one"), 3U);
}

TEST_F(cached_scan, keeps_nothing_of_a_scan_during_which_the_engine_changed)
{
    judge = [this](const std::string&) -> verdict {
        engine->set_identity("2");
        tag.refresh();
        return clean_verdict{};
    };
    EXPECT_EQ(scan("one"), 1U);
    EXPECT_EQ(scan("one"), 2U);
    EXPECT_EQ(scan("one"), 2U) << "the engine is the same as before the second scan";
}

TEST_F(cached_scan, keeps_nothing_of_an_engine_without_identity)
{
    engine->set_identity("");
    tag.refresh();
    EXPECT_EQ(scan("one"), 1U);
    EXPECT_EQ(scan("one"), 2U);
    service::istag never_probed{engine, {}};
    engine->set_identity("1");
    const auto store = web::make_body_store(0);
    for (int i = 0; i < 2; ++i) {
        (void)service::cached_scan(cache, never_probed, *engine, {}, *store, {});
    }
    EXPECT_EQ(engine->scans(), 4);
    EXPECT_EQ(cache.numbers().entries, 0U);
}

TEST_F(cached_scan, keeps_nothing_of_an_engine_that_is_faster_than_a_digest)
{
    const auto builtin = std::make_shared<service::builtin_engine>();
    service::istag known(builtin, {});
    known.refresh();
    const auto store = web::make_body_store(0);
    (void)service::cached_scan(cache, known, *builtin, {}, *store, {});
    EXPECT_EQ(cache.numbers().entries + cache.numbers().misses, 0U);
}

/// A store that ends before its size.
class short_store final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t, void*, std::uint64_t) override { return 0; }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { return 0; }
    std::uint64_t append(const void*, std::uint64_t) override { return 0; }
    void swap(web::io_data&) override {}
    void size(std::uint64_t) override {}
    std::uint64_t size() override { return 10; }
};

TEST_F(cached_scan, reports_an_object_that_cannot_be_read)
{
    short_store store;
    const verdict outcome = service::cached_scan(cache, tag, *engine, {"", 10}, store, {});
    EXPECT_TRUE(std::holds_alternative<service::error_verdict>(outcome));
    EXPECT_EQ(cache.numbers().entries, 0U);
}

class cache_of_service : public testing::Test
{
protected:
    cache_of_service()
    {
        options.custom_engine = engine;
        options.cache_entries = 2;
    }

    std::shared_ptr<given_engine> engine = std::make_shared<given_engine>([](const std::string& object) -> verdict {
        return object == "bad" ? verdict(blocked_verdict{"Some.Threat"}) : verdict(clean_verdict{});
    });
    service::server_options options;
};

TEST_F(cache_of_service, answers_in_place_of_the_engine)
{
    const test::started_server server(options);
    test::wire_client client = server.client();
    // Nothing is known of the engine until a client asks for the options.
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(engine->scans(), 2);
    EXPECT_EQ(client.ask(test::options_request()).status(), 200U);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    const std::string page = client.ask(test::mail_request("bad")).object();
    EXPECT_EQ(engine->scans(), 4);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("good", "")).object(), "good");
    const test::answer again = client.ask(test::mail_request("bad"));
    EXPECT_EQ(again.field("X-Infection-Found"), "Type=0;Resolution=2;Threat=Some.Threat;");
    EXPECT_EQ(again.object(), page);
    EXPECT_EQ(engine->scans(), 4);
    // Two entries only.
    EXPECT_EQ(client.ask(test::mail_request("third")).status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(engine->scans(), 6);
    // An engine with new signatures.
    engine->set_identity("2");
    EXPECT_EQ(client.ask(test::options_request()).status(), 200U);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(engine->scans(), 7);
}

TEST_F(cache_of_service, contains_what_the_engine_said_and_not_what_the_lists_make_of_it)
{
    options.lists.ignored_threats = {"Some.*"};
    options.lists.forbidden_names = {"*.exe"};
    const test::started_server server(options);
    test::wire_client client = server.client();
    EXPECT_EQ(client.ask(test::options_request()).status(), 200U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(client.ask(test::mail_request("bad")).status(), 204U);
        EXPECT_EQ(engine->scans(), 1);
    }
    // "a.exe"
    const std::string fields = "Allow: 204\r\nX-Mail-Type: 2\r\nX-Mail-Attach-Name: YS5leGU=\r\n";
    const std::string head = "POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: 3\r\n\r\n";
    EXPECT_EQ(client.ask(test::reqmod_head(head, fields) + test::chunk("bad") + "0\r\n\r\n").status(), 200U);
    EXPECT_EQ(engine->scans(), 1);
}

TEST_F(cache_of_service, may_be_off)
{
    options.cache_entries = 0;
    const test::started_server server(options);
    test::wire_client client = server.client();
    EXPECT_EQ(client.ask(test::options_request()).status(), 200U);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("good")).status(), 204U);
    EXPECT_EQ(engine->scans(), 2);
}

} // namespace cached_scan_test
