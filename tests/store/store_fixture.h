#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/attach_object.h"
#include "store/message_object.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace host::test {

/// The bytes of a tag array for any number of tags.
class tag_list
{
public:
    tag_list(std::initializer_list<std::uint32_t> tags)
        : words_{static_cast<ULONG>(tags.size())}
    {
        for (const std::uint32_t tag : tags) {
            words_.push_back(tag);
        }
        words_.push_back(0); // the declared record has at least one tag
    }
    SPropTagArray* get() { return reinterpret_cast<SPropTagArray*>(words_.data()); }

private:
    std::vector<ULONG> words_;
};

/// The result of GetProps.
struct got_props
{
    HRESULT result = S_OK;
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    const SPropValue& operator[](std::size_t i) const { return values.get()[i]; }
};

inline got_props get_props(IMAPIProp* object, std::initializer_list<std::uint32_t> tags, ULONG flags = MAPI_UNICODE)
{
    got_props got;
    tag_list list(tags);
    SPropValue* values = nullptr;
    got.result = object->GetProps(tags.size() == 0 ? nullptr : list.get(), flags, &got.count, &values);
    got.values.reset(values);
    return got;
}

inline SPropValue text_value(std::uint32_t tag, const wchar_t* text)
{
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return value;
}

inline SPropValue long_value(std::uint32_t tag, LONG number)
{
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.l = number;
    return value;
}

/// Opens a stream; returns null if the store fails.
inline ComPtr<IStream> open_stream(IMAPIProp* object, std::uint32_t tag, ULONG flags, HRESULT* result = nullptr)
{
    ComPtr<IUnknown> opened;
    const HRESULT answer = object->OpenProperty(tag, &IID_IStream, 0, flags, Receive(opened));
    if (result) {
        *result = answer;
    }
    ComPtr<IStream> stream;
    if (opened) {
        EXPECT_EQ(S_OK, Query(opened.get(), IID_IStream, stream));
    }
    return stream;
}

inline ULONG write(IStream* stream, std::string_view text)
{
    ULONG written = 0;
    EXPECT_EQ(S_OK, stream->Write(text.data(), static_cast<ULONG>(text.size()), &written));
    return written;
}

inline void seek(IStream* stream, std::int64_t offset, DWORD origin = STREAM_SEEK_SET)
{
    LARGE_INTEGER move;
    move.QuadPart = offset;
    EXPECT_EQ(S_OK, stream->Seek(move, origin, nullptr));
}

inline std::uint64_t size_of(IStream* stream)
{
    STATSTG stat{};
    EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
    return stat.cbSize.QuadPart;
}

/// Returns all bytes from the beginning.
inline std::string read_all(IStream* stream)
{
    seek(stream, 0);
    std::string text(size_of(stream), '\0');
    ULONG got = 0;
    EXPECT_EQ(S_OK, stream->Read(text.data(), static_cast<ULONG>(text.size()), &got));
    text.resize(got);
    return text;
}

inline std::string stream_text(IMAPIProp* object, std::uint32_t tag)
{
    const auto stream = open_stream(object, tag, 0);
    return stream ? read_all(stream.get()) : "(no stream)";
}

/// Creates an attachment of method 1.
inline attachment_record file_attachment(std::wstring_view name, std::string contents)
{
    attachment_record result;
    result.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
    result.properties->set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(name));
    result.properties->set(PR_DISPLAY_NAME_W, property_value::of_text(name));
    result.properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of(std::move(contents))));
    return result;
}

inline attachment_record message_attachment(message_record inner)
{
    attachment_record result;
    result.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_EMBEDDED_MSG));
    result.embedded = std::make_shared<const message_record>(std::move(inner));
    return result;
}

/// An open message in a new store.
class StoreTest : public testing::Test
{
protected:
    /// Opens `stored`; SaveChanges writes to it.
    ComPtr<message_object> open(bool writable = true)
    {
        return MakeCom<message_object>(*stored, writable, [this](const message_record& changed) {
            *stored = changed.copy();
            ++saves;
            return HRESULT{S_OK};
        });
    }
    static ComPtr<IAttach> open_attach(IMessage* message, ULONG number, ULONG flags, HRESULT* result = nullptr)
    {
        ComPtr<IAttach> attach;
        const HRESULT answer = message->OpenAttach(number, nullptr, flags, Receive(attach));
        if (result) {
            *result = answer;
        }
        return attach;
    }

    std::shared_ptr<message_record> stored = std::make_shared<message_record>();
    int saves = 0;
};

} // namespace host::test
