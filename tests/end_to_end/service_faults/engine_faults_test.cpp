// Engines that fail: each message opens, the log of the service has the reason, and the next messages are judged.

#include "tests/end_to_end/service_faults/fault_desk.h"
#include "tests/end_to_end/service_faults/faulty_engine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace engine_faults_test {

using namespace std::chrono_literals;
using test::faulty_engine;
using action = faulty_engine::fault::action;

const action throws = [](const service::stop_token&) { throw std::runtime_error("the engine is broken"); };
const action throws_a_number = [](const service::stop_token&) { throw 42; };
const action has_no_memory = [](const service::stop_token&) { throw std::bad_alloc(); };

class faults_of_an_engine : public test::fault_desk
{
protected:
    faults_of_an_engine() { options.custom_engine = engine; }

    std::shared_ptr<faulty_engine> engine = std::make_shared<faulty_engine>();
};

struct failing
{
    const char* name;
    faulty_engine::fault fault;
    const char* line; ///< at level 200
};

class failing_engine : public faults_of_an_engine, public testing::WithParamInterface<failing>
{};

TEST_P(failing_engine, leaves_one_message_unscanned)
{
    start();
    engine->set(GetParam().fault);
    expect_unscanned(open_condemned());
    expect_line(200, GetParam().line);
    engine->set({});
    expect_next_is_right();
    EXPECT_EQ(count_lines(200, ""), 1);
}

INSTANTIATE_TEST_SUITE_P(
    each, failing_engine,
    testing::Values(failing{"throws_at_begin", {throws, {}, {}}, ") could not judge an object: the engine is broken"},
                    failing{"throws_at_data", {{}, throws, {}}, ") could not judge an object: the engine is broken"},
                    failing{"throws_at_the_end", {{}, {}, throws}, ") could not judge an object: the engine is broken"},
                    failing{"throws_what_is_no_exception",
                            {{}, throws_a_number, {}},
                            ") could not judge an object: unknown failure of the engine"},
                    failing{"has_no_memory_at_begin", {has_no_memory, {}, {}}, ") could not judge an object: std::bad_alloc"},
                    failing{
                        "has_no_memory_at_the_end", {{}, {}, has_no_memory}, ") could not judge an object: std::bad_alloc"}),
    [](const auto& tried) { return std::string(tried.param.name); });

TEST_F(faults_of_an_engine, slower_than_the_deadline_leaves_one_message_unscanned)
{
    options.scan_timeout = 2000ms;
    start();
    engine->set({{}, engine->wait_for_stop(), {}});
    expect_unscanned(open_condemned());
    expect_line(200, ") could not judge an object: no verdict within 2000 ms");
    engine->set({});
    expect_next_is_right();
}

TEST_F(faults_of_an_engine, deaf_to_its_deadline_occupies_one_thread_only)
{
    options.scan_timeout = 2000ms;
    options.scan_threads = 2;
    start();
    engine->set({{}, engine->wait_for_release(), {}});
    expect_unscanned(open_condemned());
    expect_line(200, ") could not judge an object: no verdict within 2000 ms");
    engine->set({});
    expect_next_is_right();
    // The late verdict reaches nobody.
    engine->release();
    expect_next_is_right();
    EXPECT_EQ(count_lines(200, ""), 1);
    EXPECT_EQ(count_lines(300, ") blocked ''"), 2);
}

TEST_F(faults_of_an_engine, returning_after_the_reader_has_left_disturbs_nobody)
{
    options.leave_timeout = 50ms;
    start(test::patience);
    engine->set({{}, engine->wait_for_release(), {}});
    const auto opened = open_condemned();
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_TRUE(log.contains("failed: send request timeout occured"));
    expect_line(500, ") closes: ");
    engine->set({});
    engine->release();
    const auto reader = test::reader_at(server().port(), patient);
    expect_condemned(test::open_condemned(*reader));
    EXPECT_EQ(test::open_harmless(*reader).verdict, ScanResult::Clean);
    EXPECT_EQ(count_lines(200, ""), 0);
    EXPECT_EQ(count_lines(300, ") blocked ''"), 1);
}

TEST_F(faults_of_an_engine, interrupted_by_the_end_of_the_service_leaves_one_message_unscanned)
{
    start();
    engine->set({{}, engine->wait_for_stop(), {}});
    auto opening = std::async(std::launch::async, [this] { return open_condemned(); });
    ASSERT_TRUE(engine->wait_for_objects(1));
    server().stop();
    const auto opened = opening.get();
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_TRUE(log.contains("release invalid session"));
    expect_line(500, ") closes: the server stops");
    EXPECT_EQ(count_lines(300, ") blocked ''"), 0);
    // Another service takes its place.
    engine->set({});
    service::scan_server next(options);
    next.start();
    const auto reader = test::reader_at(next.port(), patient);
    expect_condemned(test::open_condemned(*reader));
}

} // namespace engine_faults_test
