#include "outlook/qdmailprotect/com/extensibility.h"
#include "outlook/qdmailprotect/com/module.h"
#include "outlook/qdmailprotect/com/new_connect.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

class no_registration final : public ServerRegistration
{
public:
    HRESULT RunScript(RegistrationScope, bool) override { return S_OK; }
    HRESULT RegisterTypeLibrary(RegistrationScope) override { return S_OK; }
    HRESULT UnregisterTypeLibrary(RegistrationScope) override { return S_OK; }
};

/// An object of the module without function.
class plain_object final : public ComObject<IPersist>
{
public:
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) override { return E_NOTIMPL; }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IPersist ? static_cast<IPersist*>(this) : nullptr;
    }

private:
    ModuleReference module_;
};

ComPtr<IUnknown> make_plain()
{
    return ComPtr<IUnknown>(MakeCom<plain_object>());
}

class server : public ::testing::Test
{
protected:
    void TearDown() override
    {
        factory.reset();
        object.reset();
        EXPECT_EQ(module.CanUnloadNow(), S_OK);
    }
    void get_factory() { ASSERT_EQ(module.GetClassObject(CLSID_Connect, IID_IClassFactory, Receive(factory)), S_OK); }
    no_registration registration;
    CQDMailProtectModule module{&make_plain, registration};
    ComPtr<IClassFactory> factory;
    ComPtr<IUnknown> object;
};

TEST_F(server, gives_the_class_object_of_its_one_class)
{
    get_factory();
    ComPtr<IUnknown> none;
    EXPECT_EQ(module.GetClassObject(IID_IPersist, IID_IClassFactory, Receive(none)), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(module.GetClassObject(CLSID_Connect, IID_IPersist, Receive(none)), E_NOINTERFACE);
    EXPECT_EQ(module.GetClassObject(CLSID_Connect, IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(server, makes_objects_that_are_not_aggregated)
{
    get_factory();
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersist, Receive(object)), S_OK);
    ComPtr<IUnknown> none;
    EXPECT_EQ(factory->CreateInstance(object.get(), IID_IUnknown, Receive(none)), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, Receive(none)), E_NOINTERFACE);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(server, can_be_unloaded_when_nothing_is_held)
{
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
    get_factory();
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE) << "the class object";
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, Receive(object)), S_OK);
    factory.reset();
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE) << "an object";
    object.reset();
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

TEST_F(server, stays_while_a_client_locks_it)
{
    get_factory();
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    const ComPtr<IClassFactory> again = factory;
    factory.reset();
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
    EXPECT_EQ(again->LockServer(FALSE), S_OK);
}

TEST_F(server, counts_what_is_held_on_every_thread)
{
    get_factory();
    const auto make_and_drop = [this] {
        for (int i = 0; i < 1000; ++i) {
            const ComPtr<IUnknown> made = make_plain();
            EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
        }
    };
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads) {
        thread = std::thread(make_and_drop);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    factory.reset();
    EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

TEST_F(server, makes_the_products_add_in)
{
    object = NewConnect();
    ComPtr<_IDTExtensibility2> addin;
    EXPECT_EQ(Query(object.get(), IID__IDTExtensibility2, addin), S_OK);
    EXPECT_EQ(addin->OnConnection(nullptr, 1, nullptr, nullptr), E_FAIL);
    EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
}

} // namespace
