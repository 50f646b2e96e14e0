#include "outlook/qdmailprotect/access/io_stream.h"
#include "outlook/qdmailprotect/access/message_converter.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"

#include <gtest/gtest.h>

namespace {

using test::leveled;
using test::scripted_converter;
using test::scripted_message;
using texts = std::vector<std::string>;

class message_converter : public ::testing::Test
{
protected:
    void TearDown() override
    {
        converter.Close();
        EXPECT_EQ(platform.open_sessions, 0);
        EXPECT_EQ(store.alive, 0) << "a reference was not released";
    }
    HRESULT convert(ComPtr<IStream>& stream)
    {
        const auto message = MakeCom<scripted_message>(store, "message", nullptr);
        const HRESULT result = converter.ConvertToMime(message->pointer(), Receive(stream));
        EXPECT_TRUE(platform.conversions == 0 || platform.message == message->pointer());
        return result;
    }

    test::log_capture log;
    test::scripted_store store;
    scripted_converter platform{store};
    MessageConverter converter{platform.platform()};
};

// --- Init

TEST_F(message_converter, asks_for_quoted_printable_bodies_and_rfc_1521_documents)
{
    EXPECT_TRUE(converter.Init());
    EXPECT_EQ(platform.calls, (texts{"session", "SetEncoding 3", "SetSaveFormat 1"}));
    EXPECT_TRUE(leveled(log).empty());
}

TEST_F(message_converter, does_not_look_at_the_results_of_the_settings)
{
    platform.setting_result = E_NOTIMPL;
    EXPECT_TRUE(converter.Init());
    EXPECT_EQ(platform.calls, (texts{"session", "SetEncoding 3", "SetSaveFormat 1"}));
    EXPECT_TRUE(leveled(log).empty());
}

TEST_F(message_converter, that_is_ready_keeps_its_session)
{
    EXPECT_TRUE(converter.Init());
    EXPECT_TRUE(converter.Init());
    EXPECT_EQ(platform.sessions, 1);
    EXPECT_EQ(platform.calls.size(), 3U);
}

TEST_F(message_converter, that_gets_no_session_tells_the_result)
{
    platform.session_result = E_ACCESSDENIED;
    EXPECT_FALSE(converter.Init());
    EXPECT_EQ(platform.calls, (texts{"session"}));
    EXPECT_EQ(leveled(log), (texts{"200 Failed to create the converter interface, hr=0x80070005"}));
}

TEST_F(message_converter, that_gets_success_without_a_session_is_not_ready_and_says_nothing)
{
    platform.gives_session = false;
    EXPECT_FALSE(converter.Init());
    EXPECT_EQ(platform.calls, (texts{"session"}));
    EXPECT_TRUE(leveled(log).empty());
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), E_POINTER);
}

TEST_F(message_converter, that_failed_can_be_started_later)
{
    platform.session_result = E_ACCESSDENIED;
    EXPECT_FALSE(converter.Init());
    platform.session_result = S_OK;
    platform.gives_session = false;
    EXPECT_FALSE(converter.Init());
    platform.gives_session = true;
    EXPECT_TRUE(converter.Init());
    EXPECT_EQ(platform.open_sessions, 1);
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), S_OK);
}

TEST_F(message_converter, that_was_closed_can_be_started_again)
{
    EXPECT_TRUE(converter.Init());
    converter.Close();
    EXPECT_EQ(platform.open_sessions, 0);
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), E_POINTER);
    EXPECT_TRUE(converter.Init());
    EXPECT_EQ(platform.sessions, 2);
    EXPECT_EQ(convert(stream), S_OK);
}

// --- ConvertToMime

TEST_F(message_converter, that_was_not_started_answers_null_pointer)
{
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), E_POINTER);
    EXPECT_EQ(stream, nullptr);
    EXPECT_TRUE(platform.calls.empty());
    EXPECT_TRUE(leveled(log).empty());
}

TEST_F(message_converter, without_a_place_for_the_stream_answers_null_pointer)
{
    EXPECT_TRUE(converter.Init());
    platform.calls.clear();
    EXPECT_EQ(converter.ConvertToMime(nullptr, nullptr), E_POINTER);
    EXPECT_TRUE(platform.calls.empty());
}

TEST_F(message_converter, makes_a_stream_and_converts_into_it_with_smtp_addresses_and_bcc)
{
    EXPECT_TRUE(converter.Init());
    platform.calls.clear();
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), S_OK);
    EXPECT_EQ(platform.calls, (texts{"stream", "MAPIToMIMEStm 34"}));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream.get(), platform.stream);
    EXPECT_EQ(stream->Write("|", 1, nullptr), S_OK);
    web::io_stream data(stream);
    std::string text(static_cast<std::size_t>(data.size()), '\0');
    data.read(0, text.data(), text.size());
    EXPECT_EQ(text, platform.mime + "|") << "the stream stands where the converter finished";
    EXPECT_TRUE(leveled(log).empty());
}

TEST_F(message_converter, tells_zero_for_every_success)
{
    EXPECT_TRUE(converter.Init());
    platform.result = S_FALSE;
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), S_OK);
    EXPECT_NE(stream, nullptr);
}

TEST_F(message_converter, without_a_stream_tells_the_result_and_does_not_convert)
{
    EXPECT_TRUE(converter.Init());
    platform.stream_result = E_OUTOFMEMORY;
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), E_OUTOFMEMORY);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(platform.conversions, 0);
    EXPECT_EQ(leveled(log), (texts{"200 Failed to create stream, hr = 0x8007000e"}));
}

TEST_F(message_converter, with_success_but_no_stream_tells_the_success_and_does_not_convert)
{
    EXPECT_TRUE(converter.Init());
    platform.gives_stream = false;
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), S_OK);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(platform.conversions, 0);
    EXPECT_EQ(leveled(log), (texts{"200 Failed to create stream, hr = 0x0"}));
}

TEST_F(message_converter, that_fails_tells_the_result_and_leaves_the_stream_with_the_caller)
{
    EXPECT_TRUE(converter.Init());
    platform.result = MAPI_E_CORRUPT_DATA;
    ComPtr<IStream> stream;
    EXPECT_EQ(convert(stream), MAPI_E_CORRUPT_DATA);
    EXPECT_EQ(stream.get(), platform.stream);
    EXPECT_EQ(leveled(log), (texts{"200 Failed to convert message, hr = 0x8004011b"}));
    platform.result = S_OK;
    EXPECT_EQ(convert(stream), S_OK) << "the next message is tried anew";
}

} // namespace
