#include "outlook/qdmailprotect/access/io_stream.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "store/memory_stream.h"
#include "tests/outlook/qdmailprotect/support/scripted_stream.h"
#include "tool/system/errors.h"
#include "tool/web/io_memory.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <typeinfo>

namespace web {

/// Removes the stream of a bridge, as a swap with an empty one would.
class io_stream_probe
{
public:
    static void take_stream(io_stream& bridge) { bridge.stream_.reset(); }
};

} // namespace web

namespace {

using test::scripted_stream;
using texts = std::vector<std::string>;

/// A stream that claims success of everything and leaves all its out-parameters alone.
class silent_stream final : public ComObject<IStream>
{
public:
    HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override
    {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return S_OK; }

protected:
    void* FindInterface(REFIID) override { return nullptr; }
};

ComPtr<IStream> memory_of(std::string_view text)
{
    ComPtr<IStream> memory;
    host::create_memory_stream(Receive(memory));
    memory->Write(text.data(), static_cast<ULONG>(text.size()), nullptr);
    return memory;
}

class stream_bridge : public ::testing::Test
{
protected:
    void TearDown() override
    {
        stream.reset();
        EXPECT_EQ(store.alive, 0);
    }
    /// Returns text and result code of the exception that `call` throws.
    static std::string raised(HRESULT expected, const std::function<void()>& call)
    {
        try {
            call();
        } catch (const error::HresultException& failure) {
            EXPECT_EQ(failure.result(), expected);
            const std::string text = failure.what();
            return text.substr(text.rfind(": ") + 2);
        }
        return "nothing raised";
    }

    /// Returns all bytes of the stream, without recording it.
    std::string contents()
    {
        STATSTG stat{};
        memory->Stat(&stat, STATFLAG_NONAME);
        std::string text(static_cast<std::size_t>(stat.cbSize.QuadPart), '\0');
        memory->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
        memory->Read(text.data(), static_cast<ULONG>(text.size()), nullptr);
        return text;
    }

    test::scripted_store store;
    ComPtr<IStream> memory = memory_of("0123456789");
    ComPtr<scripted_stream> stream = MakeCom<scripted_stream>(store, "stream", memory);
    char buffer[16] = {};
};

TEST_F(stream_bridge, without_a_stream_is_refused)
{
    try {
        web::io_stream bridge(nullptr);
        ADD_FAILURE() << "nothing raised";
    } catch (const error::win32exception& failure) {
        EXPECT_EQ(failure.code(), 87U);
    }
}

TEST_F(stream_bridge, holds_one_reference_until_its_end)
{
    {
        const web::io_stream bridge{ComPtr<IStream>(stream)};
        stream.reset();
        EXPECT_EQ(store.alive, 1);
    }
    EXPECT_EQ(store.alive, 0);
}

TEST_F(stream_bridge, reads_from_any_offset)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    EXPECT_EQ(bridge.read(3, buffer, 4), 4U);
    EXPECT_EQ(std::string(buffer, 4), "3456");
    EXPECT_EQ(bridge.read(8, buffer, 16), 2U) << "a short read is no error";
    EXPECT_EQ(std::string(buffer, 2), "89");
    EXPECT_EQ(store.calls("stream.Seek"), (texts{"stream.Seek 3 0", "stream.Seek 8 0"}));
}

TEST_F(stream_bridge, reads_nothing_behind_the_end)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    EXPECT_EQ(bridge.read(10, buffer, 1), 0U);
    EXPECT_EQ(bridge.read(1000, buffer, 1), 0U);
}

TEST_F(stream_bridge, writes_at_any_offset)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    EXPECT_EQ(bridge.write(4, "ab", 2), 2U);
    EXPECT_EQ(contents(), "0123ab6789");
    EXPECT_EQ(bridge.write(9, "cde", 3), 3U);
    EXPECT_EQ(contents(), "0123ab678cde");
}

TEST_F(stream_bridge, counts_nothing_that_the_stream_does_not_count)
{
    const auto silent = MakeCom<silent_stream>();
    web::io_stream bridge{ComPtr<IStream>(silent)};
    EXPECT_EQ(bridge.read(0, buffer, 4), 0U);
    EXPECT_EQ(bridge.write(0, "abcd", 4), 0U);
}

TEST_F(stream_bridge, appends_at_the_size)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    EXPECT_EQ(bridge.append("ab", 2), 2U);
    EXPECT_EQ(contents(), "0123456789ab");
    EXPECT_EQ(store.calls("stream.Stat"), (texts{"stream.Stat 1"}));
    EXPECT_EQ(store.calls("stream.Seek"), (texts{"stream.Seek 10 0"}));
}

TEST_F(stream_bridge, sets_and_tells_the_size_in_64_bits)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    EXPECT_EQ(bridge.size(), 10U);
    EXPECT_EQ(store.calls("stream.Stat"), (texts{"stream.Stat 1"}));
    bridge.size(3);
    EXPECT_EQ(contents(), "012");
    store.claim_size("stream", 0x123456789A);
    EXPECT_EQ(bridge.size(), 0x123456789AU);
}

TEST_F(stream_bridge, cuts_counts_to_32_bits)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    EXPECT_EQ(bridge.read(0, buffer, 0x100000002), 2U);
    EXPECT_EQ(store.calls("stream.Read"), (texts{"stream.Read 2"}));
    EXPECT_EQ(bridge.write(0, "abc", 0x100000003), 3U);
    EXPECT_EQ(contents().substr(0, 4), "abc3");
    EXPECT_EQ(bridge.read(0, buffer, 0x100000000), 0U);
}

TEST_F(stream_bridge, swaps_streams_with_its_own_kind)
{
    web::io_stream left{ComPtr<IStream>(stream)};
    web::io_stream right{ComPtr<IStream>(MakeCom<scripted_stream>(store, "other", memory_of("other")))};
    left.swap(right);
    EXPECT_EQ(left.size(), 5U);
    EXPECT_EQ(right.size(), 10U);
}

TEST_F(stream_bridge, does_not_swap_with_another_kind)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    web::io_memory memory(16);
    EXPECT_THROW(bridge.swap(memory), std::bad_cast);
    EXPECT_EQ(bridge.size(), 10U);
}

TEST_F(stream_bridge, without_its_stream_raises_at_each_call)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    web::io_stream_probe::take_stream(bridge);
    const std::vector<std::function<void()>> calls{
        [&] { bridge.read(0, buffer, 1); }, [&] { bridge.write(0, buffer, 1); },
        [&] { bridge.append(buffer, 1); },  [&] { bridge.size(1); },
        [&] { (void)bridge.size(); },
    };
    for (const auto& call : calls) {
        HRESULT result = S_OK;
        try {
            call();
        } catch (const ComError& failure) {
            result = failure.Error();
        }
        EXPECT_EQ(result, E_POINTER);
    }
    web::io_stream other{ComPtr<IStream>(stream)};
    bridge.swap(other);
    EXPECT_EQ(bridge.size(), 10U);
    EXPECT_THROW((void)other.size(), ComError);
}

TEST_F(stream_bridge, raises_each_failed_call_with_its_text)
{
    web::io_stream bridge{ComPtr<IStream>(stream)};
    store.fail_nth(1, E_FAIL, "stream.Seek");
    EXPECT_EQ(raised(E_FAIL, [&] { bridge.read(0, buffer, 1); }), "IStream::Seek failed");
    store.fail_nth(1, E_FAIL, "stream.Seek");
    EXPECT_EQ(raised(E_FAIL, [&] { bridge.write(0, buffer, 1); }), "IStream::Seek failed");
    store.fail_nth(1, E_ACCESSDENIED, "stream.Read");
    EXPECT_EQ(raised(E_ACCESSDENIED, [&] { bridge.read(0, buffer, 1); }), "IStream::Read failed");
    store.fail_nth(1, E_OUTOFMEMORY, "stream.Write");
    EXPECT_EQ(raised(E_OUTOFMEMORY, [&] { bridge.write(0, buffer, 1); }), "IStream::Write failed");
    store.fail_nth(1, E_FAIL, "stream.Stat");
    EXPECT_EQ(raised(E_FAIL, [&] { bridge.append(buffer, 1); }), "IStream::Stat failed");
    store.fail_nth(1, E_FAIL, "stream.Seek");
    EXPECT_EQ(raised(E_FAIL, [&] { bridge.append(buffer, 1); }), "IStream::Seek failed");
    store.fail_nth(1, E_FAIL, "stream.Write");
    EXPECT_EQ(raised(E_FAIL, [&] { bridge.append(buffer, 1); }), "IStream::Write failed");
    store.fail_nth(1, E_FAIL, "stream.Stat");
    EXPECT_EQ(raised(E_FAIL, [&] { (void)bridge.size(); }), "IStream::Stat failed");
    store.fail_nth(1, E_FAIL, "stream.SetSize");
    EXPECT_EQ(raised(E_FAIL, [&] { bridge.size(1); }), "IStream::SetSize failed");
    EXPECT_EQ(bridge.size(), 10U) << "no failure changes anything";
}

} // namespace
