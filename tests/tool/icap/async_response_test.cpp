#include "tests/tool/icap/icap_text.h"
#include "tool/icap/async_response.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using test::raised;
using test::reply;
using testing::ElementsAre;
using testing::StrictMock;

class notifier_mock : public icap::response_notifier
{
public:
    MOCK_METHOD(void, options, (const std::string&, std::uint32_t, const std::vector<std::string>&), (override));
    MOCK_METHOD(void, continue_, (const std::string&), (override));
    MOCK_METHOD(void, no_content, (const std::string&), (override));
    MOCK_METHOD(void, blocked, (const std::string&, const std::string&, const std::shared_ptr<icap::response_message>&),
                (override));
    MOCK_METHOD(void, repaired, (const std::string&, const std::shared_ptr<icap::response_message>&), (override));
    MOCK_METHOD(void, error, (const std::string&), (override));
};

std::shared_ptr<icap::response_message> answer(int status, std::vector<std::string> lines)
{
    lines.insert(lines.begin(), "ISTag: \"tag\"");
    lines.emplace_back("Encapsulated: null-body=0");
    return test::extract_reply(reply(status, lines));
}

class dispatch_response : public testing::Test
{
protected:
    StrictMock<notifier_mock> notifier;

    void dispatch(const std::shared_ptr<icap::response_message>& message)
    {
        icap::async_response request(message);
        request.process(&notifier);
    }
};

TEST_F(dispatch_response, of_an_answer_with_methods_calls_options)
{
    EXPECT_CALL(notifier, options("\"tag\"", 4096, ElementsAre("REQMOD", "", "RESPMOD")));
    dispatch(answer(200, {"Methods: REQMOD, RESPMOD", "Preview: 4096"}));
}

TEST_F(dispatch_response, of_an_answer_with_methods_does_not_look_at_the_status)
{
    for (const int status : {100, 201, 204, 404, 500}) {
        EXPECT_CALL(notifier, options("\"tag\"", 0, ElementsAre("REQMOD")));
        dispatch(answer(status, {"Methods: REQMOD", "X-Infection-Found: Resolution=1;"}));
    }
}

TEST_F(dispatch_response, of_empty_methods_calls_options_with_one_empty_name)
{
    EXPECT_CALL(notifier, options("\"tag\"", 0, ElementsAre("")));
    dispatch(answer(200, {"Methods: "}));
}

TEST_F(dispatch_response, of_100_calls_continue)
{
    EXPECT_CALL(notifier, continue_("\"tag\""));
    dispatch(answer(100, {}));
}

TEST_F(dispatch_response, of_200_without_infection_calls_no_content)
{
    EXPECT_CALL(notifier, no_content("\"tag\"")).Times(3);
    dispatch(answer(200, {}));
    dispatch(answer(200, {"X-Infection-Found: "}));
    dispatch(answer(200, {"X-Virus-ID: X", "X-Violations-Found: 1", "X-Response-Desc: x"}));
}

TEST_F(dispatch_response, of_200_with_a_page_but_without_infection_calls_no_content)
{
    EXPECT_CALL(notifier, no_content("\"tag\""));
    auto lines = answer(200, {});
    lines->set_encapsulated(test::http_message(test::head({"HTTP/1.1 200 OK", "Content-Length: 1"}) + "x"));
    dispatch(lines);
}

TEST_F(dispatch_response, of_200_with_resolution_1_calls_repaired)
{
    for (const char* value : {"Type=0;Resolution=1;Threat=X;", "Resolution=1", "Resolution= 1 and more;",
                              " Resolution =+1;", "Resolution=01"}) {
        const auto message = answer(200, {"X-Infection-Found: " + std::string(value)});
        EXPECT_CALL(notifier, repaired("\"tag\"", message));
        dispatch(message);
    }
}

TEST_F(dispatch_response, of_200_with_any_other_resolution_calls_blocked)
{
    for (const char* value : {"Type=0;Resolution=2;Threat=X;", "Type=0;Resolution=0;Threat=X", "Threat=X",
                              "Resolution;Threat=X", "resolution=1;Threat=X", "Resolution=one;Threat=X",
                              "Resolution=-1;Threat=X", "Resolution=4294967297;Threat=X"}) {
        const auto message = answer(200, {"X-Infection-Found: " + std::string(value)});
        EXPECT_CALL(notifier, blocked("\"tag\"", "X", message));
        dispatch(message);
    }
}

TEST_F(dispatch_response, of_200_without_a_threat_calls_blocked_with_an_empty_one)
{
    const auto message = answer(200, {"X-Infection-Found: yes"});
    EXPECT_CALL(notifier, blocked("\"tag\"", "", message));
    dispatch(message);
}

TEST_F(dispatch_response, of_201_calls_repaired)
{
    const auto message = answer(201, {});
    EXPECT_CALL(notifier, repaired("\"tag\"", message));
    dispatch(message);
    const auto blocked = answer(201, {"X-Infection-Found: Resolution=2;"});
    EXPECT_CALL(notifier, repaired("\"tag\"", blocked));
    dispatch(blocked);
}

TEST_F(dispatch_response, of_204_calls_no_content)
{
    EXPECT_CALL(notifier, no_content("\"tag\""));
    dispatch(answer(204, {"X-Infection-Found: Resolution=2;"}));
}

TEST_F(dispatch_response, of_any_other_status_calls_error)
{
    for (const int status : {101, 199, 202, 203, 205, 206, 301, 400, 404, 408, 500, 503, 999}) {
        EXPECT_CALL(notifier, error("response from server is " + std::to_string(status)));
        dispatch(answer(status, {"X-Infection-Found: Resolution=1;"}));
    }
}

TEST_F(dispatch_response, without_a_tag_passes_an_empty_one)
{
    EXPECT_CALL(notifier, no_content(""));
    dispatch(test::extract_reply(reply(204, {"Encapsulated: null-body=0"})));
}

TEST_F(dispatch_response, reads_the_icap_head_only)
{
    EXPECT_CALL(notifier, no_content("\"tag\""));
    const auto message = answer(200, {});
    message->set_encapsulated(test::http_message(
        test::head({"HTTP/1.1 200 OK", "Methods: REQMOD", "X-Infection-Found: Resolution=1;", "Content-Length: 1"}) +
        "x"));
    dispatch(message);
}

TEST(async_response, refuses_a_null_notifier)
{
    bool traced = false;
    icap::async_response request(answer(204, {}), [&](const icap::response_message&) { traced = true; });
    EXPECT_EQ(raised<std::invalid_argument>([&] { request.process(static_cast<icap::response_notifier*>(nullptr)); }),
              "invalid argument: notifer is null");
    EXPECT_FALSE(traced);
}

TEST(async_response, has_no_part_on_the_service_side)
{
    icap::async_response request(answer(204, {}));
    icap::application_request& unit = request;
    EXPECT_EQ(raised<std::runtime_error>([&] { unit.process(static_cast<web::antivirus_service2*>(nullptr)); }),
              "process(web::antivirus_service2*): not implemented");
}

TEST(async_response, traces_the_message_behind_the_callback)
{
    StrictMock<notifier_mock> notifier;
    testing::MockFunction<void(const icap::response_message&)> trace;
    const auto message = answer(204, {});
    const testing::InSequence order;
    EXPECT_CALL(notifier, no_content("\"tag\""));
    EXPECT_CALL(trace, Call(testing::Ref(*message)));
    icap::async_response request(message, trace.AsStdFunction());
    request.process(&notifier);
}

TEST(async_response, passes_on_what_the_callback_raises_and_traces_nothing)
{
    StrictMock<notifier_mock> notifier;
    bool traced = false;
    EXPECT_CALL(notifier, no_content("\"tag\"")).WillOnce(testing::Throw(std::logic_error("callback")));
    icap::async_response request(answer(204, {}), [&](const icap::response_message&) { traced = true; });
    EXPECT_EQ(raised<std::logic_error>([&] { request.process(&notifier); }), "callback");
    EXPECT_FALSE(traced);
}

} // namespace
