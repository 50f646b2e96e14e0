#include "mail/inputs/byte_stream.h"
#include "tests/mail/inputs/stream_text.h"
#include "tests/support/temporary_folder.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <future>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace host::test {
namespace {

std::string reason_of_failure(const std::function<void()>& act)
{
    try {
        act();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "(none)";
}

class NamedPipe : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600)); }

    temporary_folder folder;
    std::filesystem::path pipe = folder.path() / "pipe.eml";
};

TEST_F(NamedPipe, IsWaitedForAndReadToItsEnd)
{
    const auto stream = open_stream(pipe, {}); // does not wait for the writer
    EXPECT_FALSE(stream->is_regular());
    auto text = std::async(std::launch::async, [&] { return text_of(*stream); });
    winapi::file_handle writer(::open(pipe.c_str(), O_WRONLY | O_CLOEXEC));
    for (const char* part : {"some te", "xt"}) {
        ASSERT_LT(0, ::write(writer.get(), part, std::char_traits<char>::length(part)));
    }
    EXPECT_EQ(std::future_status::timeout, text.wait_for(std::chrono::milliseconds(1)));
    writer = winapi::file_handle();
    EXPECT_EQ("some text", text.get());
}

TEST_F(NamedPipe, ThatNobodyWritesIsGivenUp)
{
    const auto stream = open_stream(pipe, {std::chrono::seconds(0), {}});
    EXPECT_EQ("nobody wrote to this pipe within 0 seconds", reason_of_failure([&] { text_of(*stream); }));
}

TEST_F(NamedPipe, IsWaitedForUntilTheReaderGivesUp)
{
    int asked = 0;
    const auto stream = open_stream(pipe, {std::chrono::hours(1), [&asked] { return ++asked == 2; }});
    EXPECT_EQ("interrupted", reason_of_failure([&] { text_of(*stream); }));
    EXPECT_EQ(2, asked);
}

TEST_F(NamedPipe, HasNoLimitOnceItsFirstByteWasRead)
{
    const winapi::file_handle keeper(::open(pipe.c_str(), O_RDWR | O_CLOEXEC)); // so that it has a writer now
    ASSERT_EQ(1, ::write(keeper.get(), "x", 1));
    int asked = 0;
    const auto stream = open_stream(pipe, {std::chrono::seconds(0), [&asked] { return ++asked == 3; }});
    EXPECT_EQ("interrupted", reason_of_failure([&] { text_of(*stream); }));
}

TEST(ByteStream, OfAPipeWithoutANameHasNoLimit)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC));
    const winapi::file_handle reader(ends[0]);
    winapi::file_handle writer(ends[1]);
    int asked = 0;
    const auto stream = open_stream("/dev/fd/" + std::to_string(reader.get()), // as the process substitution of shells
                                    {std::chrono::seconds(0), [&asked] { return ++asked == 3; }});
    EXPECT_EQ("interrupted", reason_of_failure([&] { text_of(*stream); }));
    ASSERT_EQ(1, ::write(writer.get(), "x", 1));
    writer = winapi::file_handle();
    EXPECT_EQ("x", text_of(*stream));
}

TEST(ByteStream, OfAFileIsTheFile)
{
    const temporary_folder folder;
    const auto stream = open_stream(folder.write("a", "some longer text"), {});
    EXPECT_TRUE(stream->is_regular());
    EXPECT_EQ("some longer text", text_of(*stream));
}

TEST(ByteStream, ThatCannotBeOpenedSaysWhy)
{
    const temporary_folder folder;
    EXPECT_EQ("No such file or directory", reason_of_failure([&] { open_stream(folder.path() / "missing", {}); }));
    EXPECT_EQ("Is a directory", reason_of_failure([&] { open_stream(folder.path(), {}); }));
}

} // namespace
} // namespace host::test
