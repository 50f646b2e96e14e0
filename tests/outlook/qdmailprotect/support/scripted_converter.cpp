#include "tests/outlook/qdmailprotect/support/scripted_converter.h"

#include "store/memory_stream.h"
#include "tests/outlook/qdmailprotect/support/scripted_stream.h"

namespace test {

class scripted_converter::session final : public ComObject<IConverterSession>
{
public:
    explicit session(scripted_converter& owner)
        : owner_(owner)
    {
        ++owner_.open_sessions;
    }
    ~session() override { --owner_.open_sessions; }

    HRESULT STDMETHODCALLTYPE SetAdrBook(IUnknown*) override { return other("SetAdrBook"); }
    HRESULT STDMETHODCALLTYPE SetEncoding(std::int32_t encoding) override
    {
        owner_.calls.push_back("SetEncoding " + std::to_string(encoding));
        return owner_.setting_result;
    }
    HRESULT STDMETHODCALLTYPE Unused5() override { return other("Unused5"); }
    HRESULT STDMETHODCALLTYPE MIMEToMAPI(IStream*, IMessage*, const char*, ULONG) override
    {
        return other("MIMEToMAPI");
    }
    HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(IMessage* message, IStream* stream, ULONG flags) override
    {
        return owner_.convert(message, stream, flags);
    }
    HRESULT STDMETHODCALLTYPE Unused8() override { return other("Unused8"); }
    HRESULT STDMETHODCALLTYPE Unused9() override { return other("Unused9"); }
    HRESULT STDMETHODCALLTYPE Unused10() override { return other("Unused10"); }
    HRESULT STDMETHODCALLTYPE SetTextWrapping(std::int32_t, ULONG) override { return other("SetTextWrapping"); }
    HRESULT STDMETHODCALLTYPE SetSaveFormat(std::int32_t format) override
    {
        owner_.calls.push_back("SetSaveFormat " + std::to_string(format));
        return owner_.setting_result;
    }
    HRESULT STDMETHODCALLTYPE Unused13() override { return other("Unused13"); }
    HRESULT STDMETHODCALLTYPE SetCharset(std::int32_t, void*, std::int32_t) override { return other("SetCharset"); }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IConverterSession ? static_cast<IConverterSession*>(this) : nullptr;
    }

private:
    HRESULT other(const char* operation)
    {
        owner_.calls.emplace_back(operation);
        return E_NOTIMPL;
    }
    scripted_converter& owner_;
};

ConverterPlatform scripted_converter::platform()
{
    return {[this](IConverterSession** made) { return make_session(made); },
            [this](IStream** made) { return make_stream(made); }};
}

HRESULT scripted_converter::make_session(IConverterSession** made)
{
    calls.emplace_back("session");
    if (FAILED(session_result) || !gives_session) {
        return session_result;
    }
    ++sessions;
    *made = MakeCom<session>(*this).detach();
    return session_result;
}

HRESULT scripted_converter::make_stream(IStream** made)
{
    calls.emplace_back("stream");
    if (FAILED(stream_result) || !gives_stream) {
        return stream_result;
    }
    ++streams;
    ComPtr<IStream> memory;
    host::create_memory_stream(Receive(memory));
    *made = MakeCom<scripted_stream>(store_, "mime", std::move(memory)).detach();
    return stream_result;
}

HRESULT scripted_converter::convert(IMessage* from, IStream* to, ULONG flags)
{
    ++conversions;
    calls.push_back("MAPIToMIMEStm " + std::to_string(flags));
    message = from;
    stream = to;
    if (SUCCEEDED(result)) {
        ULONG written = 0;
        to->Write(mime.data(), static_cast<ULONG>(mime.size()), &written);
    }
    return result;
}

} // namespace test
