#include "mail/inputs/mbox_splitter.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace host::test {
namespace {

using testing::ElementsAre;

/// Returns a text in pieces of `step` bytes.
class text_stream final : public byte_stream
{
public:
    text_stream(std::string text, std::size_t step)
        : text_(std::move(text))
        , step_(step)
    {}
    std::size_t read(char* destination, std::size_t count) override
    {
        const std::size_t got = std::min({count, step_, text_.size() - at_});
        text_.copy(destination, got, at_);
        at_ += got;
        return got;
    }
    [[nodiscard]] bool is_regular() const override { return false; }

private:
    std::string text_;
    std::size_t step_;
    std::size_t at_ = 0;
};

struct split_mbox
{
    std::vector<std::string> messages;
    std::string first_as_stored;
    std::uint64_t taken = 0;
};

split_mbox split(const std::string& text, std::size_t step = 1U << 20U)
{
    buffered_stream stream(std::make_unique<text_stream>(text, step));
    mbox_splitter splitter(stream, true);
    split_mbox result;
    while (const bytes_ptr message = splitter.next()) {
        if (result.messages.empty()) {
            result.first_as_stored = to_string(*splitter.first_as_stored());
        } else {
            EXPECT_FALSE(splitter.first_as_stored());
        }
        result.messages.push_back(to_string(*message));
    }
    EXPECT_FALSE(splitter.has_more());
    result.taken = stream.taken();
    return result;
}

TEST(MboxSplitter, FindsMessagesHoweverTheBytesArrive)
{
    const std::string text = "From a Mon\nSubject: one\n\nFirst.\n>From here on\n>>From there\nFrom the middle\n\n"
                             "From b Mon\r\nSubject: two\r\n\r\nSecond.\r\n\r\n"
                             "From c Mon\nno line end";
    for (std::size_t step = 1; step <= text.size(); ++step) {
        const auto found = split(text, step);
        EXPECT_THAT(found.messages,
                    ElementsAre("Subject: one\n\nFirst.\nFrom here on\n>From there\nFrom the middle\n\n",
                                "Subject: two\r\n\r\nSecond.\r\n\r\n", "no line end"))
            << step;
        EXPECT_EQ(text.substr(0, text.find("From b")), found.first_as_stored) << step;
        EXPECT_EQ(text.size(), found.taken);
    }
}

TEST(MboxSplitter, SplitsLinesLongerThanItsLookAhead)
{
    const std::string longer(200000, 'x');
    const std::string body = longer + "From within a line\n" + longer + "\n\n";
    const auto found = split("From a" + longer + "\n" + body + "From b\n>" + "From " + longer + "\n", 1000);
    EXPECT_THAT(found.messages, ElementsAre(body, "From " + longer + "\n"));
}

TEST(MboxSplitter, RestoresNothingWithinALine)
{
    for (std::size_t size = 65530; size < 65545; ++size) { // around the size of the look ahead
        const std::string line = std::string(size, 'x') + ">From here\n";
        EXPECT_THAT(split("From a\n" + line).messages, ElementsAre(line)) << size;
        const std::string lines = std::string(size, 'x') + "\nFrom here\n"; // the line end is no blank line
        EXPECT_THAT(split("From a\n" + lines).messages, ElementsAre(lines)) << size;
    }
}

TEST(MboxSplitter, LeavesOutWhatIsBeforeTheFirstEnvelopeLine)
{
    EXPECT_THAT(split("noise\nFrom here\n\nFrom a\nx\n").messages, ElementsAre("x\n"));
    EXPECT_THAT(split("noise\n").messages, ElementsAre());
    EXPECT_THAT(split("").messages, ElementsAre());
}

TEST(MboxSplitter, ReturnsMessagesWithoutContents)
{
    EXPECT_THAT(split("From a\n\nFrom b\n").messages, ElementsAre("\n", ""));
    EXPECT_THAT(split("From a").messages, ElementsAre(""));
}

} // namespace
} // namespace host::test
