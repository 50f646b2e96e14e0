// Faults of other peers and of the administrator, while a reader opens mail.

#include "tests/end_to_end/service_faults/fault_desk.h"
#include "tests/end_to_end/service_faults/faulty_engine.h"
#include "tests/service/requests.h"
#include "tests/service/wire_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace peer_faults_test {

using namespace std::chrono_literals;
using test::wire_client;

class faults_of_peers : public test::fault_desk
{
protected:
    wire_client peer() { return wire_client(server().port()); }
};

const std::string large_body(200000, 'x');

TEST_F(faults_of_peers, breaking_the_connection_within_a_body_disturbs_nobody)
{
    start();
    for (int i = 0; i < 8; ++i) {
        wire_client other = peer();
        const std::string request = test::mail_request(large_body);
        other.send(std::string_view(request).substr(0, request.size() / 2));
        i % 2 == 0 ? other.socket().reset() : other.socket().close();
        expect_next_is_right();
    }
    expect_line(500, ") closes: ");
    EXPECT_EQ(count_lines(200, ""), 0);
}

TEST_F(faults_of_peers, half_closing_still_gets_an_answer_and_disturbs_nobody)
{
    start();
    wire_client other = peer();
    other.send(test::mail_request(test::antivirus_test_file()));
    other.socket().end_sending();
    expect_next_is_right();
    EXPECT_EQ(other.read_answer().status(), 200U);
    wire_client half = peer();
    half.send("REQMOD icap://127.0.0.1/webscan ICAP/1.0\r\nHost");
    half.socket().end_sending();
    EXPECT_TRUE(half.closed_by_service());
    expect_next_is_right();
}

TEST_F(faults_of_peers, taking_all_places_leaves_mail_unscanned_until_one_leaves)
{
    options.max_connections = 2;
    start(test::patience);
    const std::string begun = test::object_request_head(10, 4) + test::bare_preview("0123456789", 4);
    std::vector<wire_client> busy;
    for (int i = 0; i < 2; ++i) {
        busy.push_back(peer());
        ASSERT_EQ(busy.back().ask(begun).status(), 100U);
    }
    const auto opened = open_condemned();
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ(opened.verdict, ScanResult::None);
    EXPECT_TRUE(log.contains("No ICAP server available"));
    expect_line(200, ") refused: too many connections");
    busy.clear();
    // The places are free once the service has noticed it; until then mail is unscanned.
    const auto reader = test::reader_at(server().port(), patient);
    auto next = test::open_condemned(*reader);
    for (int i = 0; i < 1000 && next.verdict == ScanResult::None; ++i) {
        next = test::open_condemned(*reader);
    }
    expect_condemned(next);
}

TEST_F(faults_of_peers, filling_the_budget_of_bodies_leaves_room_for_usual_mail)
{
    options.body_budget = 1000000;
    start();
    std::vector<wire_client> greedy;
    bool refused = false;
    for (int i = 0; i < 8 && !refused; ++i) {
        greedy.push_back(peer());
        const std::string request = test::mail_request(large_body);
        greedy.back().send(std::string_view(request).substr(0, request.size() - 8));
        refused = greedy.back().socket().wait_readable(500);
    }
    EXPECT_TRUE(refused);
    expect_line(200, "requests are refused: their objects exceed the budget of 1000000 bytes");
    expect_next_is_right();
    // A large one is not judged while the budget is used up.
    const auto reader = test::reader_at(server().port(), patient);
    const auto large =
        reader->open(test::mail_with_attachment("See there.", "a.bin", large_body + test::antivirus_test_file()));
    EXPECT_EQ(large.result, S_OK);
    EXPECT_FALSE(large.blocked);
    greedy.clear();
    expect_next_is_right();
}

class faults_of_a_reload : public test::fault_desk
{
protected:
    faults_of_a_reload() { options.custom_engine = engine; }

    /// Opens a condemned mail. Returns once the engine judges it, which goes on until the engine is released.
    [[nodiscard]] std::future<host::opening> begin_opening()
    {
        start();
        engine->set({{}, engine->wait_for_release(), {}});
        auto opening = std::async(std::launch::async, [this] { return open_condemned(); });
        EXPECT_TRUE(engine->wait_for_objects(1));
        return opening;
    }
    /// Reloads with the option --engine.
    void reload(const char* name)
    {
        service::server_options next = options;
        next.custom_engine = nullptr;
        next.engines = {name};
        server().reconfigure(next);
    }

    std::shared_ptr<test::faulty_engine> engine = std::make_shared<test::faulty_engine>();
};

TEST_F(faults_of_a_reload, while_an_object_is_judged_leaves_its_verdict_to_the_former_engine)
{
    auto opening = begin_opening();
    reload("builtin");
    // The new engine judges while the former one is still at work.
    const auto reader = test::reader_at(server().port(), patient);
    expect_condemned(test::open_condemned(*reader));
    engine->release();
    expect_condemned(opening.get());
    expect_next_is_right();
    EXPECT_EQ(count_lines(200, "could not judge"), 0);
}

TEST_F(faults_of_a_reload, that_is_invalid_changes_nothing_while_an_object_is_judged)
{
    auto opening = begin_opening();
    EXPECT_THROW(reload("no such engine"), std::invalid_argument);
    engine->set({});
    engine->release();
    expect_condemned(opening.get());
    expect_next_is_right();
    EXPECT_TRUE(engine->wait_for_objects(3));
    EXPECT_EQ(count_lines(200, ""), 0);
}

} // namespace peer_faults_test
