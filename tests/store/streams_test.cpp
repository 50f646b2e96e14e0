#include "store/storage_codes.h"
#include "tests/store/store_fixture.h"

#include <thread>

namespace host::test {
namespace {

class Streams : public StoreTest
{
protected:
    void SetUp() override
    {
        stored->properties->set(PR_BODY_W, property_value::of_text(L"Hello"));
        stored->properties->set(PR_HTML, property_value::of_binary(bytes_of("<p>Hello</p>")));
    }
};

TEST_F(Streams, ReadBytesAsTheyAre)
{
    EXPECT_EQ("<p>Hello</p>", stream_text(open().get(), PR_HTML));
}

TEST_F(Streams, ReadTextInTheTypeThatIsAskedFor)
{
    const auto message = open();
    EXPECT_EQ("Hello", stream_text(message.get(), PR_BODY_A));
    EXPECT_EQ(std::string("H\0e\0l\0l\0o\0", 10), stream_text(message.get(), PR_BODY_W));
}

TEST_F(Streams, KeepCharactersBeyondSixteenBitsAsPairs)
{
    stored->properties->set(PR_BODY_W, from_stream_bytes(PT_UNICODE, bytes_of(std::string("\x3D\xD8\x00\xDE", 4))));
    EXPECT_EQ(std::string("\x3D\xD8\x00\xDE", 4), stream_text(open().get(), PR_BODY_W));
}

TEST_F(Streams, OfAnAbsentPropertyAreNotFoundUnlessCreated)
{
    const auto message = open();
    const std::uint32_t tag = 0x66040102;
    HRESULT result = S_OK;
    EXPECT_EQ(nullptr, open_stream(message.get(), tag, 0, &result));
    EXPECT_EQ(MAPI_E_NOT_FOUND, result);
    EXPECT_EQ(nullptr, open_stream(message.get(), tag, MAPI_MODIFY, &result));
    EXPECT_EQ(MAPI_E_NOT_FOUND, result);
    EXPECT_EQ(nullptr, open_stream(message.get(), tag, MAPI_CREATE, &result));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, result); // creation requires MAPI_MODIFY too
    EXPECT_NE(nullptr, open_stream(message.get(), tag, MAPI_MODIFY | MAPI_CREATE, &result));
    EXPECT_EQ(S_OK, result);
    EXPECT_EQ("", stream_text(message.get(), tag));
}

TEST_F(Streams, DiscardTheOldContentsWhenCreated)
{
    const auto message = open();
    const auto stream = open_stream(message.get(), PR_HTML, MAPI_MODIFY | MAPI_CREATE);
    EXPECT_EQ(0U, size_of(stream.get()));
    write(stream.get(), "<b>");
    EXPECT_EQ("<b>", stream_text(message.get(), PR_HTML));
}

TEST_F(Streams, OpenOnlyWhatHasBytes)
{
    stored->properties->set(PR_INTERNET_CPID, property_value::of_long(65001));
    const auto message = open();
    HRESULT result = S_OK;
    EXPECT_EQ(nullptr, open_stream(message.get(), PR_INTERNET_CPID, 0, &result));
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED, result);
    ComPtr<IUnknown> other;
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED, message->OpenProperty(PR_HTML, &IID_IStorage, 0, 0, Receive(other)));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->OpenProperty(PR_HTML, nullptr, 0, 0, Receive(other)));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->OpenProperty(PR_HTML, &IID_IStream, 0, 0, nullptr));
}

TEST_F(Streams, WriteStraightIntoTheProperty)
{
    const auto message = open();
    const auto stream = open_stream(message.get(), PR_HTML, MAPI_MODIFY);
    seek(stream.get(), 3);
    EXPECT_EQ(5U, write(stream.get(), "World"));
    EXPECT_EQ("<p>World</p>", stream_text(message.get(), PR_HTML)); // neither Commit nor Release was called
    seek(stream.get(), 0, STREAM_SEEK_END);
    write(stream.get(), "!");
    EXPECT_EQ("<p>World</p>!", stream_text(message.get(), PR_HTML)); // and again after it was read
    EXPECT_EQ("<p>Hello</p>", to_string(*std::get<bytes_ptr>(stored->properties->find(PROP_ID(PR_HTML))->data)));
}

TEST_F(Streams, CutTheProperty)
{
    const auto message = open();
    const auto stream = open_stream(message.get(), PR_HTML, MAPI_MODIFY);
    write(stream.get(), "<i>");
    ULARGE_INTEGER size;
    size.QuadPart = 3;
    EXPECT_EQ(S_OK, stream->SetSize(size));
    EXPECT_EQ("<i>", stream_text(message.get(), PR_HTML));
    EXPECT_EQ(S_OK, stream->Commit(0));
    EXPECT_EQ(S_OK, stream->Revert()); // no changes are pending in direct mode
    EXPECT_EQ("<i>", stream_text(message.get(), PR_HTML));
}

TEST_F(Streams, ThatWriteNarrowTextKeepTheStoredType)
{
    const auto message = open();
    const auto stream = open_stream(message.get(), PR_BODY_A, MAPI_MODIFY);
    write(stream.get(), "J");
    const auto got = get_props(message.get(), {CHANGE_PROP_TYPE(PR_BODY_W, PT_UNSPECIFIED)});
    EXPECT_STREQ(L"Jello", got[0].Value.lpszW);
}

TEST_F(Streams, ThatWriteNarrowTextKeepItsCodePage)
{
    constexpr std::uint32_t cyrillic = 1251;
    stored->properties->set(CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8), {PT_STRING8, bytes_of("\xC4\xE0"), cyrillic});
    const auto message = open();
    const auto stream = open_stream(message.get(), CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8), MAPI_MODIFY);
    seek(stream.get(), 0, STREAM_SEEK_END);
    write(stream.get(), "\xF2");
    EXPECT_STREQ(L"\u0414\u0430\u0442", get_props(message.get(), {PR_SUBJECT_W})[0].Value.lpszW);
}

TEST_F(Streams, FailWhenTheContentsCannotBeCopied)
{
    class torn final : public bytes
    {
    public:
        [[nodiscard]] std::uint64_t size() const override { return 10; }
        std::size_t read(std::uint64_t, void*, std::size_t) const override { return 0; }
    };
    stored->properties->set(PR_HTML, property_value::of_binary(std::make_shared<torn>()));
    const auto message = open();
    const auto stream = open_stream(message.get(), PR_HTML, MAPI_MODIFY);
    EXPECT_EQ(E_FAIL, stream->Write("x", 1, nullptr));
}

TEST_F(Streams, SeeThePropertyAsItWasWhenOpened)
{
    const auto message = open();
    const auto reader = open_stream(message.get(), PR_HTML, 0);
    write(open_stream(message.get(), PR_HTML, MAPI_MODIFY | MAPI_CREATE).get(), "new");
    EXPECT_EQ("<p>Hello</p>", read_all(reader.get()));
}

TEST_F(Streams, OutliveTheirMessageAndMayEndOnAnotherThread)
{
    auto stream = open_stream(open().get(), PR_HTML, MAPI_MODIFY);
    write(stream.get(), "<q>");
    EXPECT_EQ("<q>Hello</p>", read_all(stream.get()));
    std::thread([last = std::move(stream)]() mutable { last.reset(); }).join();
}

TEST_F(Streams, SeekAsFilesDo)
{
    const auto stream = open_stream(open().get(), PR_HTML, 0);
    LARGE_INTEGER move;
    ULARGE_INTEGER position{};
    move.QuadPart = -4;
    EXPECT_EQ(S_OK, stream->Seek(move, STREAM_SEEK_END, &position));
    EXPECT_EQ(8U, position.QuadPart);
    EXPECT_EQ(S_OK, stream->Seek(move, STREAM_SEEK_CUR, &position));
    EXPECT_EQ(4U, position.QuadPart);
    EXPECT_EQ(StorageInvalidFunction, stream->Seek(move, STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(StorageInvalidFunction, stream->Seek(move, 7, nullptr));
    move.QuadPart = 1000;
    EXPECT_EQ(S_OK, stream->Seek(move, STREAM_SEEK_SET, nullptr)); // beyond the end: no data to read
    char byte = 0;
    ULONG got = 9;
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, &got));
    EXPECT_EQ(0U, got);
}

TEST_F(Streams, CopyToAnother)
{
    const auto message = open();
    const auto source = open_stream(message.get(), PR_HTML, 0);
    const auto target = open_stream(message.get(), 0x66050102, MAPI_MODIFY | MAPI_CREATE);
    seek(source.get(), 3);
    ULARGE_INTEGER wanted;
    wanted.QuadPart = 5;
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    EXPECT_EQ(S_OK, source->CopyTo(target.get(), wanted, &read, &written));
    EXPECT_EQ(5U, read.QuadPart);
    EXPECT_EQ(5U, written.QuadPart);
    EXPECT_EQ("Hello", stream_text(message.get(), 0x66050102));
}

TEST_F(Streams, CloneWithTheirPosition)
{
    const auto stream = open_stream(open().get(), PR_HTML, 0);
    seek(stream.get(), 3);
    ComPtr<IStream> copy;
    ASSERT_EQ(S_OK, stream->Clone(Receive(copy)));
    char text[5];
    ULONG got = 0;
    EXPECT_EQ(S_OK, copy->Read(text, 5, &got));
    EXPECT_EQ("Hello", std::string(text, got));
}

TEST_F(Streams, OpenedForReadingWriteOnlyInAGenerousStore)
{
    stored->store->rules.generous = false;
    const auto strict = open_stream(open().get(), PR_HTML, 0);
    ULONG written = 7;
    EXPECT_EQ(StorageAccessDenied, strict->Write("x", 1, &written));
    EXPECT_EQ(0U, written);
    ULARGE_INTEGER size{};
    EXPECT_EQ(StorageAccessDenied, strict->SetSize(size));
    stored->store->rules.generous = true;
    EXPECT_EQ(1U, write(open_stream(open().get(), PR_HTML, 0).get(), "x"));
}

TEST_F(Streams, HoldMoreThanMemoryShould)
{
    const auto message = open();
    const auto stream = open_stream(message.get(), PR_HTML, MAPI_MODIFY | MAPI_CREATE);
    const std::string block(65536, 'b');
    for (int i = 0; i < 40; ++i) {
        write(stream.get(), block);
    }
    EXPECT_EQ(40U * 65536U, size_of(open_stream(message.get(), PR_HTML, 0).get()));
}

} // namespace
} // namespace host::test
