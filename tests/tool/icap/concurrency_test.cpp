#include "tests/tool/icap/icap_text.h"
#include "tool/icap/analyzer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

TEST(icap_locks, let_readers_in_while_an_analyzer_fills_a_message)
{
    const std::string body = test::pattern(200000);
    const std::string text = test::page_reply(200, body);
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> message;
    test::feed(analyzer, message, std::string_view(text).substr(0, 300));
    ASSERT_TRUE(message);

    std::atomic<bool> filled{false};
    std::atomic<int> tags{0};
    std::thread reader([&] {
        do {
            message->headers().set("X-Count", std::to_string(tags.load()));
            tags += test::header_of(*message, "ISTag") == "\"tag\"" ? 1 : 0;
            (void)message->complete();
            (void)message->has_response();
        } while (!filled);
    });
    for (std::size_t place = 300; place < text.size(); place += 1000) {
        test::feed(analyzer, message, std::string_view(text).substr(place, 1000));
    }
    filled = true;
    reader.join();
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->response()), body);
    EXPECT_GT(tags.load(), 0);
    EXPECT_NE(test::header_of(*message, "X-Count"), "(absent)");
}

TEST(icap_locks, order_pieces_of_several_threads_whole)
{
    icap::analyzer analyzer;
    const std::string line = "OPTIONS icap://h/ ICAP/1.0\r\n\r\n";
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                analyzer.enqueue(line.data(), line.data() + line.size());
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        expected += line;
    }
    EXPECT_EQ(test::text_of(analyzer.take_cached()), expected);
}

} // namespace
