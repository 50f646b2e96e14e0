// Each allocation of every entry point fails in turn: no exception propagates and no partial result remains.
#include "outlook/qdmailprotect/com/application_event_sink.h"
#include "outlook/qdmailprotect/com/item_event_sink.h"
#include "outlook/qdmailprotect/com/module.h"
#include "outlook/qdmailprotect/com/new_connect.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "outlook/qdmailprotect/com/system_registration.h"
#include "outlook/qdmailprotect/mapi/late_bound.h"
#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"
#include "tests/support/failing_new.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

namespace {

using test::com_fixture;
using test::failing_new;

/// Makes `call` repeatedly, with its first allocation failing, then its second, until all succeed, and runs `after`
/// with each result. Returns the number of failed allocations.
std::size_t refuse_each(const std::function<HRESULT()>& call, const std::function<void(HRESULT)>& after)
{
    constexpr std::size_t most = 10000;
    for (std::size_t nth = 1; nth < most; ++nth) {
        bool failed = false;
        HRESULT result = S_OK;
        {
            const failing_new refused(nth);
            result = call();
            failed = refused.failed();
        }
        after(result);
        if (!failed) {
            return nth - 1;
        }
    }
    ADD_FAILURE() << "there is no end of allocations";
    return most;
}

class out_of_memory : public com_fixture
{
protected:
    static void expect_told(HRESULT result)
    {
        EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY || result == E_FAIL) << std::hex << result;
    }
};

TEST_F(out_of_memory, connection_fails_whole)
{
    std::size_t refusals = 0;
    const std::size_t count = refuse_each([this] { return connect_to(outlook.get()); },
                                          [&](HRESULT result) {
                                              expect_told(result);
                                              refusals += FAILED(result) ? 1 : 0;
                                              EXPECT_EQ(outlook->subscriptions(), FAILED(result) ? 0U : 1U);
                                              disconnect();
                                              EXPECT_EQ(environment->initialized, 0);
                                              EXPECT_EQ(converter.open_sessions, 0);
                                          });
    EXPECT_GT(count, 0U);
    EXPECT_GT(refusals, 0U);
}

TEST_F(out_of_memory, disconnection_takes_every_step)
{
    const std::size_t count = refuse_each([this] { return disconnect(); },
                                          [this](HRESULT result) {
                                              EXPECT_EQ(result, S_OK);
                                              EXPECT_EQ(outlook->subscriptions(), 0U);
                                              EXPECT_EQ(environment->initialized, 0);
                                              EXPECT_EQ(connect_to(outlook.get()), S_OK);
                                          });
    EXPECT_GT(count, 0U);
}

TEST_F(out_of_memory, the_other_calls_of_the_client_succeed)
{
    connected();
    EXPECT_GT(refuse_each([this] { return addin->OnStartupComplete(nullptr); },
                          [](HRESULT result) { EXPECT_EQ(result, S_OK); }),
              0U);
    EXPECT_EQ(refuse_each([this] { return addin->OnBeginShutdown(nullptr); }, expect_told), 0U);
    EXPECT_EQ(refuse_each([this] { return addin->OnAddInsUpdate(nullptr); }, expect_told), 0U);
}

TEST_F(out_of_memory, item_notifications_open_the_item)
{
    connected();
    const auto made = new_item();
    const ComPtr<IDispatch> item(made.get());
    for (int block = 0; block < 2; ++block) {
        EXPECT_GT(refuse_each([&] { return addin->OnBeforeRead(item.get()); },
                              [&](HRESULT) {
                                  std::int32_t cancel = 1;
                                  addin->OnReadComplete(item.get(), &cancel);
                                  EXPECT_EQ(cancel, 0);
                              }),
                  0U);
    }
    std::int32_t cancel = 0;
    EXPECT_GT(refuse_each([&] { return addin->OnReadComplete(item.get(), &cancel); },
                          [&](HRESULT result) {
                              expect_told(result);
                              EXPECT_EQ(cancel, 0);
                          }),
              0U);
    EXPECT_GT(refuse_each([&] { return addin->OnSend(item.get(), &cancel); }, expect_told), 0U);
    EXPECT_GT(refuse_each([&] { return addin->OnUnload(item.get()); }, expect_told), 0U);
    const auto attachment = MakeCom<host::outlook_attachment>(L"name.exe", L"", ComPtr<IUnknown>());
    const ComPtr<IDispatch> opened(attachment.get());
    EXPECT_GT(
        refuse_each([&] { return addin->OnBeforeAttachmentRead(item.get(), opened.get(), &cancel); }, expect_told), 0U);
}

TEST_F(out_of_memory, an_item_is_listened_to_wholly_or_not_at_all)
{
    const auto checker = std::make_shared<MailChecker>(MailCheckerServices{link, converter.platform(), disinfector});
    const auto events = MakeCom<MailEvents>(checker, std::make_shared<ItemConnectionPoints>());
    const auto sink = MakeCom<ApplicationEventSink>(events);
    const auto item = new_item();
    VARIANT argument{};
    argument.vt = VT_DISPATCH;
    argument.pdispVal = item.get();
    DISPPARAMS parameters{&argument, nullptr, 1, 0};
    const std::size_t count = refuse_each(
        [&] {
            return sink->Invoke(DispIdItemLoad, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
        },
        [&](HRESULT result) {
            EXPECT_EQ(result, S_OK);
            if (events->HandlerCount() != 0) {
                EXPECT_EQ(item->subscriptions(), 1U);
            }
            item->unload();
            EXPECT_EQ(item->subscriptions(), 0U);
            EXPECT_EQ(events->HandlerCount(), 0U);
        });
    EXPECT_GT(count, 0U);
}

TEST_F(out_of_memory, late_bound_calls_fail)
{
    ComPtr<IDispatch> dispatch;
    ASSERT_EQ(addin->QueryInterface(IID__IDTExtensibility2, Receive(dispatch)), S_OK);
    ComPtr<ITypeInfo> information;
    EXPECT_GT(refuse_each([&] { return dispatch->GetTypeInfo(0, 0, Receive(information)); }, expect_told), 0U);
    std::wstring name = L"OnConnection";
    LPOLESTR names[] = {name.data()};
    DISPID id = 0;
    EXPECT_GT(refuse_each([&] { return dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, &id); }, expect_told), 0U);
    SAFEARRAY* custom = SafeArrayCreateVector(VT_VARIANT, 1, 0);
    VARIANT argument{};
    argument.vt = VT_ARRAY | VT_VARIANT | VT_BYREF;
    argument.pparray = &custom;
    DISPPARAMS parameters{&argument, nullptr, 1, 0};
    Variant value;
    EXPECT_GT(
        refuse_each(
            [&] { return dispatch->Invoke(5, IID_NULL, 0, DISPATCH_METHOD, &parameters, &value, nullptr, nullptr); },
            expect_told),
        0U);
    SafeArrayDestroy(custom);
}

/// A registration that allocates memory but has no effect.
class paper_registration final : public ServerRegistration
{
public:
    HRESULT RunScript(RegistrationScope, bool) override { return write(); }
    HRESULT RegisterTypeLibrary(RegistrationScope) override { return write(); }
    HRESULT UnregisterTypeLibrary(RegistrationScope) override { return write(); }

private:
    HRESULT write()
    {
        text_ += L"a text that is longer than what fits into the string itself";
        return S_OK;
    }
    std::wstring text_;
};

TEST(server_out_of_memory, every_export_fails)
{
    paper_registration registration;
    const CQDMailProtectModule module(&NewConnect, registration);
    const auto told = [](HRESULT result) {
        EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << std::hex << result;
    };
    ComPtr<IClassFactory> factory;
    EXPECT_GT(
        refuse_each([&] { return module.GetClassObject(CLSID_Connect, IID_IClassFactory, Receive(factory)); }, told),
        0U);
    ASSERT_TRUE(factory);
    ComPtr<IUnknown> object;
    EXPECT_GT(refuse_each([&] { return factory->CreateInstance(nullptr, IID_IUnknown, Receive(object)); }, told), 10U);
    EXPECT_TRUE(object);
    object.reset();
    EXPECT_GT(refuse_each([&] { return module.RegisterServer(); }, told), 0U);
    EXPECT_GT(refuse_each([&] { return module.Install(true, L"user"); }, told), 0U);
    EXPECT_EQ(refuse_each([&] { return module.CanUnloadNow(); }, [](HRESULT) {}), 0U);
    factory.reset();
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

} // namespace
