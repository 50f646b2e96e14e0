#include "client/model/class_object.h"
#include "client/model/stand_in_broker.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace host::test {
namespace {

/// The result of one call of a broker. Cleared by the destructor.
struct broker_call
{
    broker_call() { VariantInit(&value); }
    broker_call(const broker_call&) = delete;
    broker_call& operator=(const broker_call&) = delete;
    ~broker_call() { VariantClear(&value); }

    HRESULT make(stand_in_broker& broker, VARTYPE type, LONG number, DISPID id = 2, WORD flags = DISPATCH_METHOD)
    {
        VARIANT argument;
        VariantInit(&argument);
        argument.vt = type;
        argument.lVal = number;
        DISPPARAMS parameters{&argument, nullptr, 1, 0};
        return broker.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, &value, nullptr, nullptr);
    }

    VARIANT value;
};

ComPtr<stand_in_broker> broker_of(stand_in_broker::answer answer)
{
    return MakeCom<stand_in_broker>(std::move(answer));
}

TEST(StandInBrokers, GiveTheBytesOfTheMoment)
{
    std::vector<std::uint8_t> bytes{1, 2, 255};
    const auto broker = broker_of([&bytes](VARIANT& value) { return put_bytes(bytes, value); });
    for (const std::size_t size : {std::size_t{3}, std::size_t{0}, std::size_t{100000}}) {
        bytes.resize(size, 7);
        broker_call call;
        ASSERT_EQ(S_OK, call.make(*broker, VT_I4, 1));
        ASSERT_EQ(VT_ARRAY | VT_UI1, call.value.vt);
        LONG lower = -1;
        LONG upper = -1;
        SafeArrayGetLBound(call.value.parray, 1, &lower);
        SafeArrayGetUBound(call.value.parray, 1, &upper);
        ASSERT_EQ(static_cast<LONG>(size), upper - lower + 1);
        void* contents = nullptr;
        ASSERT_EQ(S_OK, SafeArrayAccessData(call.value.parray, &contents));
        const auto* begin = static_cast<const std::uint8_t*>(contents);
        EXPECT_EQ(bytes, std::vector<std::uint8_t>(begin, begin + size));
        SafeArrayUnaccessData(call.value.parray);
    }
}

TEST(StandInBrokers, AnswerTheirOneCallOnly)
{
    const auto broker = broker_of([](VARIANT&) { return HRESULT{S_OK}; });
    broker_call call;
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND, call.make(*broker, VT_I4, 1, 3));
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND, call.make(*broker, VT_I4, 1, 2, DISPATCH_PROPERTYGET));
    EXPECT_EQ(DISP_E_TYPEMISMATCH, call.make(*broker, VT_I2, 1));
    EXPECT_EQ(E_INVALIDARG, call.make(*broker, VT_I4, 2));
    DISPPARAMS none{};
    EXPECT_EQ(DISP_E_BADPARAMCOUNT,
              broker->Invoke(2, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, &call.value, nullptr, nullptr));
}

TEST(StandInBrokers, TurnWhatIsRaisedIntoAFailure)
{
    const auto broker = broker_of([](VARIANT&) -> HRESULT { throw std::runtime_error("no file"); });
    broker_call call;
    EXPECT_EQ(MAPI_E_CALL_FAILED, call.make(*broker, VT_I4, 1));
}

TEST(ClassObjects, TurnWhatIsRaisedIntoAFailure)
{
    const auto factory = MakeCom<class_object>([](IUnknown**) -> HRESULT { throw std::bad_alloc(); });
    ComPtr<IUnknown> made;
    EXPECT_EQ(E_OUTOFMEMORY, factory->CreateInstance(nullptr, IID_IUnknown, Receive(made)));
    EXPECT_EQ(nullptr, made);
}

TEST(RegisteredClasses, AreMadeByComWhileTheyAreOffered)
{
    constexpr CLSID id{0x3F1C9B5A, 0x21D4, 0x4E06, {0x9D, 0x7B, 0x60, 0x0E, 0x1A, 0x55, 0xC8, 0x12}};
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    ComPtr<IUnknown> made;
    {
        const registered_class offered(id, [](IUnknown** object) {
            *object = broker_of([](VARIANT&) { return HRESULT{S_OK}; }).detach();
            return HRESULT{S_OK};
        });
        EXPECT_EQ(S_OK, CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, Receive(made)));
        EXPECT_EQ(E_NOINTERFACE, CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IStream, Receive(made)));
    }
    EXPECT_EQ(REGDB_E_CLASSNOTREG, CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, Receive(made)));
    CoUninitialize();
}

} // namespace
} // namespace host::test
