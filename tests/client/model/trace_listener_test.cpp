#include "client/model/trace_listener.h"
#include "logging/logging.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

namespace host::test {
namespace {

using testing::ElementsAre;

TEST(TraceListener, HearsTheLinesOfThisProcessOnTheirThread)
{
    std::vector<std::string> heard;
    std::vector<std::thread::id> threads;
    {
        const trace_listener listener([&](std::string_view line) {
            heard.emplace_back(line);
            threads.push_back(std::this_thread::get_id());
        });
        OutputDebugStringA("one\r\n");
        std::thread other([] { OutputDebugStringA("two"); });
        const auto id = other.get_id();
        other.join();
        ASSERT_EQ(2U, threads.size());
        EXPECT_EQ(std::this_thread::get_id(), threads[0]);
        EXPECT_EQ(id, threads[1]);
    }
    OutputDebugStringA("three");
    EXPECT_THAT(heard, ElementsAre("one", "two"));
}

TEST(TraceListener, DoesNotHearWhatItsHandlerSends)
{
    std::vector<std::string> heard;
    const trace_listener listener([&heard](std::string_view line) {
        heard.emplace_back(line);
        OutputDebugStringA("an echo");
    });
    OutputDebugStringA("one");
    OutputDebugStringA("two");
    EXPECT_THAT(heard, ElementsAre("one", "two"));
}

TEST(TraceListener, LeavesExceptionsAlone)
{
    const trace_listener listener([](std::string_view) {});
    EXPECT_THROW(throw std::runtime_error("an ordinary one"), std::runtime_error);
}

TEST(TraceListener, UnderstandsWhatTheLoggerWritesForADebugger)
{
    std::string line;
    const trace_listener listener([&line](std::string_view text) { line = text; });
    logging::configurator::default_configurator().configure(L"level=500; debugger");
    LOG_LINE(logging::icapclnt_log(), 300, "some  text");
    logging::configurator::default_configurator().configure({});
    const trace_line parts = parse_trace_line(line);
    EXPECT_EQ(300U, parts.level);
    EXPECT_EQ("icapclnt", parts.logger);
    EXPECT_EQ("some  text", parts.text);
}

TEST(TraceLines, OfAnotherFormHaveNoLevel)
{
    for (const char* text : {"", "hello", "fixme:ole:CoCreateInstance stub", "-1 a 2 b", "400x a 2 b"}) {
        EXPECT_EQ(0U, parse_trace_line(text).level) << text;
    }
}

} // namespace
} // namespace host::test
