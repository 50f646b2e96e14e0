#pragma once

#include "outlook/qdmailprotect/access/io_stream.h"

#include <gtest/gtest.h>

#include <string>

/// The requirements for any stream in memory that messages are converted into. A test program includes this once and
/// instantiates it with the maker of its stream.
namespace {

class memory_stream : public testing::TestWithParam<HRESULT (*)(IStream**)>
{
protected:
    [[nodiscard]] static ComPtr<IStream> new_stream()
    {
        ComPtr<IStream> stream;
        EXPECT_EQ(GetParam()(Receive(stream)), S_OK);
        return stream;
    }
    [[nodiscard]] static std::uint64_t position_of(IStream& stream)
    {
        ULARGE_INTEGER position{};
        EXPECT_EQ(stream.Seek({}, STREAM_SEEK_CUR, &position), S_OK);
        return position.QuadPart;
    }
};

TEST_P(memory_stream, is_empty_at_first)
{
    const auto stream = new_stream();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(web::io_stream(stream).size(), 0U);
    char byte = 'x';
    ULONG got = 1;
    EXPECT_TRUE(SUCCEEDED(stream->Read(&byte, 1, &got)));
    EXPECT_EQ(got, 0U);
}

TEST_P(memory_stream, grows_with_what_is_written_and_stands_behind_it)
{
    const auto stream = new_stream();
    const std::string piece(4093, 'p');
    std::string whole;
    for (int i = 0; i < 300; ++i) {
        ULONG written = 0;
        ASSERT_EQ(stream->Write(piece.data(), static_cast<ULONG>(piece.size()), &written), S_OK);
        ASSERT_EQ(written, piece.size());
        whole += piece;
    }
    EXPECT_EQ(position_of(*stream), whole.size());
    web::io_stream data(stream);
    EXPECT_EQ(data.size(), whole.size());
    std::string read(whole.size(), '\0');
    EXPECT_EQ(data.read(0, read.data(), read.size()), whole.size());
    EXPECT_EQ(read, whole);
}

TEST_P(memory_stream, is_overwritten_in_place_cut_and_extended)
{
    web::io_stream data(new_stream());
    EXPECT_EQ(data.append("abcdef", 6), 6U);
    EXPECT_EQ(data.write(2, "XY", 2), 2U);
    EXPECT_EQ(data.size(), 6U);
    data.size(4);
    std::string text(6, '\0');
    EXPECT_EQ(data.read(0, text.data(), 6), 4U);
    EXPECT_EQ(text.substr(0, 4), "abXY");
    data.size(8);
    EXPECT_EQ(data.size(), 8U);
}

TEST_P(memory_stream, cannot_be_sought_before_its_beginning)
{
    const auto stream = new_stream();
    LARGE_INTEGER move{};
    move.QuadPart = -1;
    EXPECT_TRUE(FAILED(stream->Seek(move, STREAM_SEEK_SET, nullptr)));
    EXPECT_EQ(position_of(*stream), 0U);
}

TEST_P(memory_stream, lives_as_long_as_its_last_reference)
{
    auto stream = new_stream();
    ComPtr<IStream> second;
    EXPECT_EQ(stream->Clone(Receive(second)), S_OK);
    EXPECT_EQ(stream->Write("abc", 3, nullptr), S_OK);
    stream.reset();
    char text[4]{};
    ULONG got = 0;
    EXPECT_EQ(second->Read(text, 3, &got), S_OK);
    EXPECT_EQ(std::string(text), "abc") << "a clone sees what the other wrote";
}

} // namespace
