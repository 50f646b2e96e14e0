#include "outlook/qdmailprotect/link/com_broker_windows.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/late_bound.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/mapi/result_text.h"

#include <platform/com.h>

namespace {

constexpr DWORD activation = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
static_assert(activation == 23);
constexpr DISPID load_method = 2;
constexpr LONG load_argument = 1;
constexpr VARTYPE byte_array = VT_ARRAY | VT_UI1;

void ThrowIfFailed(HRESULT result)
{
    if (FAILED(result)) {
        throw ComError(result);
    }
}

/// Membership of the current thread in a COM apartment.
class Apartment
{
public:
    Apartment()
        : result_(::CoInitializeEx(nullptr, 0))
    {
        if (FAILED(result_)) {
            LOG_LINE(logging::outlook_log(), 300, "Another apartment was already opened: hr=0x" << HexResult(result_));
        }
    }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment()
    {
        if (SUCCEEDED(result_)) {
            ::CoUninitialize();
        }
    }

private:
    HRESULT result_;
};

/// Gives access to the elements of a byte array during its lifetime.
class ArrayAccess
{
public:
    explicit ArrayAccess(SAFEARRAY* array)
        : array_(array)
    {
        ThrowIfFailed(::SafeArrayAccessData(array_, &data_));
    }
    ArrayAccess(const ArrayAccess&) = delete;
    ArrayAccess& operator=(const ArrayAccess&) = delete;
    ~ArrayAccess() { ::SafeArrayUnaccessData(array_); }
    [[nodiscard]] const std::uint8_t* data() const noexcept { return static_cast<const std::uint8_t*>(data_); }

private:
    SAFEARRAY* array_;
    void* data_ = nullptr;
};

SettingsBroker::Bytes CopyBytes(const VARIANT& value)
{
    if (value.vt != byte_array || !value.parray || ::SafeArrayGetDim(value.parray) != 1) {
        return {};
    }
    LONG lower = 0;
    LONG upper = -1;
    ThrowIfFailed(::SafeArrayGetLBound(value.parray, 1, &lower));
    ThrowIfFailed(::SafeArrayGetUBound(value.parray, 1, &upper));
    if (upper < lower) {
        return {};
    }
    const ArrayAccess access(value.parray);
    const auto size = static_cast<std::size_t>(static_cast<std::int64_t>(upper) - lower + 1);
    return {access.data(), access.data() + size};
}

class ComVisit final : public SettingsBroker::Visit
{
public:
    void Connect() override
    {
        const HRESULT result = Create();
        if (result != E_NOINTERFACE) { // a missing interface is reported by Load
            ThrowIfFailed(result);
        }
    }

    [[nodiscard]] SettingsBroker::Bytes Load() override
    {
        if (!broker_) {
            throw ComError(E_POINTER);
        }
        VARIANTARG argument{};
        argument.vt = VT_I4;
        argument.lVal = load_argument;
        DISPPARAMS parameters{&argument, nullptr, 1, 0};
        Variant answer;
        ThrowIfFailed(broker_->Invoke(load_method, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &answer,
                                      nullptr, nullptr));
        return CopyBytes(*answer);
    }

private:
    HRESULT Create()
    {
        CLSID id{};
        ComPtr<IUnknown> created;
        HRESULT result = ::CLSIDFromProgID(ComBroker::ProgId, &id);
        if (SUCCEEDED(result)) {
            result = ::CoCreateInstance(id, nullptr, activation, IID_IUnknown, Receive(created));
        }
        if (SUCCEEDED(result)) {
            result = ::OleRun(created.get());
        }
        return SUCCEEDED(result) ? Query(created.get(), IID_IDispatch, broker_) : result;
    }

    Apartment apartment_; // entered first, left last
    ComPtr<IDispatch> broker_;
};

} // namespace

std::unique_ptr<SettingsBroker::Visit> ComBroker::Begin()
{
    return std::make_unique<ComVisit>();
}
