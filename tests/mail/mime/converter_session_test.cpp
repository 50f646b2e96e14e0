#include "mail/mime/writing/converter_session.h"
#include "outlook/qdmailprotect/access/message_converter.h"
#include "store/memory_stream.h"
#include "tests/mail/mime/document_fixture.h"
#include "tests/outlook/qdmailprotect/support/scripted_message.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::Not;

ComPtr<IConverterSession> new_session()
{
    ComPtr<IConverterSession> session;
    EXPECT_EQ(converter_session::create(Receive(session)), S_OK);
    return session;
}

ComPtr<IStream> new_stream()
{
    ComPtr<IStream> stream;
    EXPECT_EQ(create_memory_stream(Receive(stream)), S_OK);
    return stream;
}

ComPtr<message_object> opened(const message_record& message)
{
    return MakeCom<message_object>(message, true, [](const message_record&) { return HRESULT{S_OK}; });
}

/// Returns a message with all kinds of contents of a document.
message_record rich_message()
{
    message_record message = note(L"\u00DCbersicht", L"Text\r\n");
    set_binary(message, PR_HTML, "<img src=\"cid:a@b\">");
    set_text(message, PR_TRANSPORT_MESSAGE_HEADERS_W, L"Received: from a\nX-Mailer: Desk\n");
    add_recipient(message, MAPI_BCC, L"Dan", L"dan@example.org");
    attachment_record image = file_attachment(L"a.png", "png");
    image.properties->set(PR_ATTACH_CONTENT_ID_W, property_value::of_text(L"a@b"));
    image.properties->set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(true));
    message.attachments.emplace(0, std::move(image));
    message.attachments.emplace(2, file_attachment(L"big.bin", std::string(200000, 'b')));
    message_record inner = note(L"Inner");
    inner.attachments.emplace(0, file_attachment(L"deep.bin", "deep"));
    message.attachments.emplace(5, message_attachment(std::move(inner)));
    return message;
}

TEST(converter_session, answers_its_own_interface_and_no_other)
{
    const auto session = new_session();
    ComPtr<IConverterSession> same;
    EXPECT_EQ(Query(session.get(), IID_IConverterSession, same), S_OK);
    EXPECT_EQ(same, session);
    ComPtr<IUnknown> other;
    EXPECT_EQ(Query(session.get(), IID_IMessage, other), E_NOINTERFACE);
}

TEST(converter_session, takes_the_settings_that_it_has_and_refuses_others)
{
    const auto session = new_session();
    EXPECT_EQ(session->SetEncoding(IET_QP), S_OK);
    EXPECT_EQ(session->SetSaveFormat(SAVE_RFC1521), S_OK);
    for (std::int32_t encoding = 0; encoding < 13; ++encoding) {
        EXPECT_EQ(session->SetEncoding(encoding), encoding == IET_QP ? S_OK : MAPI_E_NO_SUPPORT);
    }
    EXPECT_EQ(session->SetEncoding(13), E_INVALIDARG);
    EXPECT_EQ(session->SetEncoding(-1), E_INVALIDARG);
    EXPECT_EQ(session->SetSaveFormat(0), MAPI_E_NO_SUPPORT);
    EXPECT_EQ(session->SetSaveFormat(2), E_INVALIDARG);
}

TEST(converter_session, has_nothing_else_to_offer)
{
    const auto session = new_session();
    EXPECT_EQ(session->SetAdrBook(nullptr), E_NOTIMPL);
    EXPECT_EQ(session->MIMEToMAPI(nullptr, nullptr, nullptr, 0), E_NOTIMPL);
    EXPECT_EQ(session->SetTextWrapping(1, 70), E_NOTIMPL);
    EXPECT_EQ(session->SetCharset(1, nullptr, 0), E_NOTIMPL);
    EXPECT_EQ(session->Unused5(), E_NOTIMPL);
    EXPECT_EQ(session->Unused8(), E_NOTIMPL);
    EXPECT_EQ(session->Unused9(), E_NOTIMPL);
    EXPECT_EQ(session->Unused10(), E_NOTIMPL);
    EXPECT_EQ(session->Unused13(), E_NOTIMPL);
}

TEST(converter_session, writes_the_document_to_where_the_stream_stands)
{
    const auto session = new_session();
    const auto message = opened(rich_message());
    const auto stream = new_stream();
    write(stream.get(), "in front|");
    EXPECT_EQ(session->MAPIToMIMEStm(message.get(), stream.get(), CCSF_SMTP | CCSF_INCLUDE_BCC), S_OK);
    write(stream.get(), "|behind");
    EXPECT_EQ(read_all(stream.get()), "in front|" + document(rich_message()) + "|behind");
}

TEST(converter_session, leaves_out_bcc_recipients_unless_told)
{
    const auto session = new_session();
    const auto message = opened(rich_message());
    const auto stream = new_stream();
    EXPECT_EQ(session->MAPIToMIMEStm(message.get(), stream.get(), CCSF_SMTP), S_OK);
    EXPECT_THAT(read_all(stream.get()), Not(HasSubstr("dan@example.org")));
}

TEST(converter_session, refuses_flags_that_it_does_not_know_before_it_writes)
{
    const auto session = new_session();
    const auto message = opened(note());
    const auto stream = new_stream();
    for (ULONG bit = 0x01; bit != 0; bit <<= 1U) {
        if (bit != CCSF_SMTP && bit != CCSF_INCLUDE_BCC) {
            EXPECT_EQ(session->MAPIToMIMEStm(message.get(), stream.get(), CCSF_SMTP | bit), MAPI_E_UNKNOWN_FLAGS);
        }
    }
    EXPECT_EQ(session->MAPIToMIMEStm(message.get(), stream.get(), CCSF_INCLUDE_BCC), E_INVALIDARG);
    EXPECT_EQ(session->MAPIToMIMEStm(nullptr, stream.get(), CCSF_SMTP), E_INVALIDARG);
    EXPECT_EQ(session->MAPIToMIMEStm(message.get(), nullptr, CCSF_SMTP), E_INVALIDARG);
    EXPECT_EQ(size_of(stream.get()), 0U);
}

TEST(converter_session, gives_the_result_of_a_stream_that_cannot_be_written)
{
    const auto session = new_session();
    const auto message = opened(rich_message());
    for (std::size_t n = 1;; ++n) {
        ::test::scripted_store store;
        const auto stream = MakeCom<::test::scripted_stream>(store, "out", new_stream());
        store.fail_nth(n, MAPI_E_NO_ACCESS);
        const HRESULT result = session->MAPIToMIMEStm(message.get(), stream.get(), CCSF_SMTP);
        if (store.calls().size() < n) {
            EXPECT_EQ(result, S_OK);
            EXPECT_GT(n, 5U) << "a large document is written piece by piece";
            break;
        }
        EXPECT_EQ(result, MAPI_E_NO_ACCESS) << n;
        EXPECT_EQ(store.calls().size(), n) << "nothing is written behind a gap";
    }
}

TEST(converter_session, writes_all_to_a_stream_that_takes_little_at_once)
{
    class slow_stream final : public ComObject<IStream>
    {
    public:
        std::string text;
        HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* written) override
        {
            *written = count < 7 ? count : 7;
            text.append(static_cast<const char*>(buffer), *written);
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

    protected:
        void* FindInterface(REFIID) override { return static_cast<IStream*>(this); }
    };
    const auto stream = MakeCom<slow_stream>();
    EXPECT_EQ(new_session()->MAPIToMIMEStm(opened(note()).get(), stream.get(), CCSF_SMTP | CCSF_INCLUDE_BCC), S_OK);
    EXPECT_EQ(stream->text, document(note()));
}

TEST(converter_session, gives_the_result_of_a_store_that_fails_wherever_it_fails)
{
    const auto session = new_session();
    std::size_t failures = 0;
    for (std::size_t n = 1;; ++n) {
        ::test::scripted_store store;
        {
            const auto inner = opened(rich_message());
            const auto message = MakeCom<::test::scripted_message>(store, "message", ComPtr<IMessage>(inner.get()));
            store.fail_nth(n, MAPI_E_CORRUPT_DATA);
            const auto stream = new_stream();
            const HRESULT result = session->MAPIToMIMEStm(message->pointer(), stream.get(), CCSF_SMTP);
            if (store.calls().size() < n) {
                EXPECT_EQ(result, S_OK);
                break;
            }
            EXPECT_EQ(result, MAPI_E_CORRUPT_DATA) << store.calls()[n - 1];
            ++failures;
        }
        EXPECT_EQ(store.alive, 0) << "a reference was kept after failure " << n;
    }
    EXPECT_GT(failures, 40U);
}

TEST(converter_session, survives_a_store_that_claims_success_and_does_nothing)
{
    const auto session = new_session();
    for (std::size_t n = 1;; ++n) {
        ::test::scripted_store store;
        {
            const auto inner = opened(rich_message());
            const auto message = MakeCom<::test::scripted_message>(store, "message", ComPtr<IMessage>(inner.get()));
            store.fail_nth(n, S_OK);
            const auto stream = new_stream();
            session->MAPIToMIMEStm(message->pointer(), stream.get(), CCSF_SMTP);
            if (store.calls().size() < n) {
                break;
            }
        }
        EXPECT_EQ(store.alive, 0) << n;
    }
}

TEST(converter_session, changes_nothing_in_the_message)
{
    const message_record before = rich_message();
    ::test::scripted_store store;
    const auto inner = opened(before);
    const auto message = MakeCom<::test::scripted_message>(store, "message", ComPtr<IMessage>(inner.get()));
    EXPECT_EQ(new_session()->MAPIToMIMEStm(message->pointer(), new_stream().get(), CCSF_SMTP), S_OK);
    for (const std::string& call : store.calls()) {
        for (const char* change : {"SetProps", "DeleteProps", "SaveChanges", "CreateAttach", "DeleteAttach", "Write"}) {
            EXPECT_EQ(call.find(change), std::string::npos) << call;
        }
    }
    EXPECT_EQ(snapshot_text(inner->current()), snapshot_text(before));
}

TEST(converter_session, serves_the_message_converter)
{
    MessageConverter converter({converter_session::create, create_memory_stream});
    EXPECT_TRUE(converter.Init());
    const auto message = opened(rich_message());
    ComPtr<IStream> stream;
    EXPECT_EQ(converter.ConvertToMime(message.get(), Receive(stream)), S_OK);
    EXPECT_EQ(read_all(stream.get()), document(rich_message()));
}

} // namespace
} // namespace host::test
