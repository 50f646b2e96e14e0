// The interface of the broker as any caller of automation may use it.

#include "broker/settings_object.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace broker {
namespace {

class SettingsObject : public ::testing::Test
{
protected:
    SettingsObject()
    {
        argument.vt = VT_I4;
        argument.lVal = settings_object::load_argument;
    }
    ~SettingsObject() override { ::VariantClear(&result); }

    HRESULT call(VARIANT* into, WORD flags = DISPATCH_METHOD, DISPID id = settings_object::load_method)
    {
        DISPPARAMS parameters{&argument, nullptr, 1, 0};
        return object->Invoke(id, IID_NULL, 0, flags, &parameters, into, nullptr, &wrong);
    }

    static constexpr UINT no_argument = 99;
    int calls = 0;
    std::function<HRESULT(VARIANT&)> answer = [](VARIANT& value) { return put_bytes({1, 2, 3}, value); };
    ComPtr<settings_object> object = MakeCom<settings_object>([this](VARIANT& value) {
        ++calls;
        return answer(value);
    });
    VARIANT argument{};
    VARIANT result{};
    UINT wrong = no_argument;
};

TEST_F(SettingsObject, ReturnsItsBytes)
{
    ASSERT_EQ(call(&result), S_OK);
    ASSERT_EQ(result.vt, VT_ARRAY | VT_UI1);
    void* bytes = nullptr;
    ASSERT_EQ(::SafeArrayAccessData(result.parray, &bytes), S_OK);
    const auto* const begin = static_cast<const std::uint8_t*>(bytes);
    EXPECT_EQ(std::vector<std::uint8_t>(begin, begin + result.parray->rgsabound[0].cElements),
              (std::vector<std::uint8_t>{1, 2, 3}));
    ::SafeArrayUnaccessData(result.parray);
}

TEST_F(SettingsObject, IsCalledAsAFunction)
{
    EXPECT_EQ(call(&result, DISPATCH_METHOD | DISPATCH_PROPERTYGET), S_OK);
    EXPECT_EQ(call(nullptr, DISPATCH_PROPERTYGET), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(call(nullptr, DISPATCH_METHOD, 1), DISP_E_MEMBERNOTFOUND);
}

TEST_F(SettingsObject, ServesACallerWhoDoesNotWantTheResult)
{
    EXPECT_EQ(call(nullptr), S_OK);
    EXPECT_EQ(calls, 0);
}

TEST_F(SettingsObject, NamesTheArgumentOfAnotherType)
{
    argument.vt = VT_BOOL;
    EXPECT_EQ(call(&result), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(wrong, 0U);
}

TEST_F(SettingsObject, RefusesAnotherArgument)
{
    argument.lVal = settings_object::load_argument + 1;
    EXPECT_EQ(call(&result), E_INVALIDARG);
    EXPECT_EQ(wrong, no_argument);
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    EXPECT_EQ(
        object->Invoke(settings_object::load_method, IID_NULL, 0, DISPATCH_METHOD, &none, &result, nullptr, &wrong),
        DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(calls, 0);
}

TEST_F(SettingsObject, LetsNoExceptionOut)
{
    answer = [](VARIANT&) -> HRESULT { throw std::bad_alloc(); };
    EXPECT_EQ(call(&result), E_OUTOFMEMORY);
    answer = [](VARIANT&) -> HRESULT { throw std::runtime_error("a reason"); };
    EXPECT_EQ(call(&result), E_FAIL);
    EXPECT_EQ(result.vt, VT_EMPTY);
}

TEST_F(SettingsObject, HasNoNames)
{
    std::wstring first = L"Load";
    std::wstring second = L"Save";
    std::array<LPOLESTR, 2> names{first.data(), second.data()};
    std::array<DISPID, 2> found{7, 8};
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names.data(), 2, 0, found.data()), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(found, (std::array<DISPID, 2>{DISPID_UNKNOWN, DISPID_UNKNOWN}));
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names.data(), 2, 0, nullptr), E_POINTER);
    EXPECT_EQ(object->GetIDsOfNames(IID_IUnknown, names.data(), 2, 0, found.data()), DISP_E_UNKNOWNINTERFACE);
}

TEST_F(SettingsObject, HasNoTypeInformation)
{
    UINT count = 7;
    EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 0U);
    ITypeInfo* information = nullptr;
    EXPECT_EQ(object->GetTypeInfo(0, 0, &information), DISP_E_BADINDEX);
}

} // namespace
} // namespace broker
