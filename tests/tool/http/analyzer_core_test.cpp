#include "tests/support/every_split.h"
#include "tool/http/analyzer_core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// A message of a fixed length.
class counted
{
public:
    explicit counted(std::size_t length)
        : length_(length)
    {}
    [[nodiscard]] bool complete() const { return text_.size() == length_; }
    std::size_t append(const char* begin, const char* end)
    {
        if (fail) {
            throw std::runtime_error("store is full");
        }
        const auto count = std::min(static_cast<std::size_t>(end - begin), length_ - text_.size());
        text_.append(begin, count);
        return count;
    }
    [[nodiscard]] const std::string& text() const { return text_; }

    bool fail = false;

private:
    std::size_t length_;
    std::string text_;
};

using core = http::analyzer_core<counted>;
using result = http::head_result<counted>;

/// A head is "<" and a digit, the length of the bytes that follow; "<" alone is partial; "#" is garbage; "\n" is
/// skipped.
result head_step(const char* begin, const char* end)
{
    result made;
    if (*begin == '\n') {
        made.count = 1;
        return made;
    }
    if (*begin == '#') {
        made.count = static_cast<std::size_t>(std::find_if(begin, end, [](char b) { return b != '#'; }) - begin);
        made.garbage = true;
        return made;
    }
    if (end - begin < 2) {
        return made;
    }
    made.message = std::make_unique<counted>(static_cast<std::size_t>(begin[1] - '0'));
    made.count = 2;
    return made;
}

void put(core& analyzer, std::string_view text)
{
    analyzer.enqueue(text.data(), text.data() + text.size());
}

std::string left(core& analyzer)
{
    const auto bytes = analyzer.take_cached();
    return {bytes.begin(), bytes.end()};
}

TEST(analyzer_core, an_empty_cache_gives_nothing_and_runs_no_step)
{
    core analyzer;
    EXPECT_EQ(nullptr, analyzer.run(nullptr, [](const char*, const char*) -> result {
        throw std::logic_error("no bytes, no step");
    }));
}

TEST(analyzer_core, a_message_takes_its_bytes_and_leaves_the_rest)
{
    core analyzer;
    put(analyzer, "<3abcdef");
    const auto message = analyzer.run(nullptr, &head_step);
    ASSERT_TRUE(message);
    EXPECT_EQ("abc", message->text());
    EXPECT_EQ("def", left(analyzer));
}

TEST(analyzer_core, a_partial_head_stays_whole_and_is_parsed_again_from_its_first_byte)
{
    core analyzer;
    put(analyzer, "\n<");
    EXPECT_EQ(nullptr, analyzer.run(nullptr, &head_step));
    put(analyzer, "1");
    std::vector<std::string> seen;
    const auto message = analyzer.run(nullptr, [&](const char* begin, const char* end) {
        seen.emplace_back(begin, end);
        return head_step(begin, end);
    });
    EXPECT_TRUE(message);
    EXPECT_EQ((std::vector<std::string>{"\n<1", "<1"}), seen);
    EXPECT_EQ("", left(analyzer));
}

TEST(analyzer_core, garbage_is_dropped_and_the_search_goes_on)
{
    core analyzer;
    put(analyzer, "###<2ab");
    const auto message = analyzer.run(nullptr, &head_step);
    ASSERT_TRUE(message);
    EXPECT_EQ("ab", message->text());
    EXPECT_EQ("", left(analyzer));
}

TEST(analyzer_core, garbage_is_gone_even_when_a_partial_head_follows)
{
    core analyzer;
    put(analyzer, "###<");
    EXPECT_EQ(nullptr, analyzer.run(nullptr, &head_step));
    EXPECT_EQ("<", left(analyzer));
}

TEST(analyzer_core, skipped_bytes_alone_are_consumed)
{
    core analyzer;
    put(analyzer, "\n\n");
    EXPECT_EQ(nullptr, analyzer.run(nullptr, &head_step));
    EXPECT_EQ("", left(analyzer));
}

TEST(analyzer_core, a_given_message_is_fed_and_no_step_runs)
{
    core analyzer;
    counted message(4);
    const auto no_step = [](const char*, const char*) -> result { throw std::logic_error("no head is wanted"); };
    put(analyzer, "ab");
    EXPECT_EQ(nullptr, analyzer.run(&message, no_step));
    put(analyzer, "cdef");
    EXPECT_EQ(nullptr, analyzer.run(&message, no_step));
    EXPECT_EQ("abcd", message.text());
    EXPECT_EQ("ef", left(analyzer));
}

TEST(analyzer_core, a_complete_message_is_given_nothing)
{
    core analyzer;
    counted message(0);
    message.fail = true;
    put(analyzer, "ab");
    EXPECT_EQ(nullptr, analyzer.run(&message, &head_step));
    EXPECT_EQ("ab", left(analyzer));
}

TEST(analyzer_core, a_failing_step_leaves_the_cache_as_it_was)
{
    core analyzer;
    put(analyzer, "<2ab");
    EXPECT_THROW(
        (void)analyzer.run(nullptr, [](const char*, const char*) -> result { throw std::runtime_error("bad head"); }),
        std::runtime_error);
    counted message(9);
    message.fail = true;
    EXPECT_THROW((void)analyzer.run(&message, &head_step), std::runtime_error);
    EXPECT_EQ("<2ab", left(analyzer));
}

TEST(analyzer_core, a_message_that_takes_nothing_and_is_not_complete_does_not_hang_the_loop)
{
    struct idle_message
    {
        [[nodiscard]] bool complete() const { return false; }
        std::size_t append(const char*, const char*)
        {
            ++calls;
            return 0;
        }
        int calls = 0;
    };
    http::analyzer_core<idle_message> analyzer;
    const std::string_view text = "ab";
    analyzer.enqueue(text.data(), text.data() + 2);
    idle_message message;
    (void)analyzer.run(&message, [](const char*, const char*) { return http::head_result<idle_message>(); });
    EXPECT_EQ(2, message.calls);
    EXPECT_EQ(2U, analyzer.take_cached().size());
}

TEST(analyzer_core, a_reversed_range_is_refused)
{
    core analyzer;
    const std::string_view text = "ab";
    try {
        analyzer.enqueue(text.data() + 1, text.data());
        FAIL() << "nothing raised";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ("icap analyzer::enqueue: invalid range [beg, end)", failure.what());
    }
}

TEST(analyzer_core, more_bytes_than_the_cache_holds_are_refused)
{
    core analyzer;
    put(analyzer, std::string(16640, 'x'));
    EXPECT_THROW(put(analyzer, "y"), std::out_of_range);
    EXPECT_EQ(16640U, left(analyzer).size());
}

TEST(analyzer_core, tells_of_what_was_skipped)
{
    core analyzer;
    std::string dropped;
    analyzer.skipped(nullptr, nullptr);
    analyzer.on_skipped([&](const char* begin, const char* end) { dropped.assign(begin, end); });
    const std::string_view text = "junk";
    analyzer.skipped(text.data(), text.data() + 4);
    EXPECT_EQ("junk", dropped);
}

TEST(analyzer_core, the_split_of_the_input_makes_no_difference)
{
    test::every_split("##\n<3abc<0<2de", [](const test::pieces& pieces) {
        core analyzer;
        std::vector<std::string> texts;
        std::unique_ptr<counted> open;
        for (const std::string_view piece : pieces) {
            put(analyzer, piece);
            if (open && !open->complete()) {
                (void)analyzer.run(open.get(), &head_step);
            }
            while (!open || open->complete()) {
                auto next = analyzer.run(nullptr, &head_step);
                if (!next) {
                    break;
                }
                if (open) {
                    texts.push_back(open->text());
                }
                open = std::move(next);
            }
        }
        texts.push_back(open ? open->text() : "");
        EXPECT_EQ((std::vector<std::string>{"abc", "", "de"}), texts);
    });
}

} // namespace
