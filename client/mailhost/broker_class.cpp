#include "client/mailhost/broker_class.h"

#include "client/model/class_object.h"
#include "client/model/registry_key.h"
#include "store/guard.h"

#include <mutex>
#include <utility>

namespace host {

namespace {

/// The same identifier as in the manifest.
constexpr CLSID broker_class{0xD0A8B1C4, 0x7E36, 0x4B52, {0x8C, 0x6E, 0x1F, 0x93, 0x55, 0x0A, 0x2B, 0x77}};

struct offered_broker
{
    std::mutex lock;
    object_maker make;
};

offered_broker& of_process()
{
    static offered_broker only;
    return only;
}

void offer(object_maker make)
{
    const std::lock_guard guard(of_process().lock);
    of_process().make = std::move(make);
}

/// The name of the class leads to this program, so that the machine's class is looked up by its name here.
HRESULT make_registered_broker(IUnknown** made)
{
    const auto name =
        registry_key::open(HKEY_LOCAL_MACHINE, L"Software\\Classes\\QD.SecurityLayerProvider\\CLSID").text({});
    CLSID id{};
    if (!name || FAILED(CLSIDFromString(name->c_str(), &id))) {
        return CO_E_CLASSSTRING;
    }
    return CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, reinterpret_cast<void**>(made));
}

} // namespace

void offer_broker(stand_in_broker::answer settings)
{
    if (!settings) {
        return offer({});
    }
    offer([settings = std::move(settings)](IUnknown** made) {
        *made = MakeCom<stand_in_broker>(settings).detach();
        return HRESULT{S_OK};
    });
}

void offer_registered_broker()
{
    offer(make_registered_broker);
}

} // namespace host

extern "C" {

__declspec(dllexport) HRESULT WINAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object)
{
    using namespace host;
    return guarded([&] {
        if (!object) {
            return E_POINTER;
        }
        *object = nullptr;
        const std::lock_guard guard(of_process().lock);
        if (id != broker_class || !of_process().make) {
            return CLASS_E_CLASSNOTAVAILABLE;
        }
        return MakeCom<class_object>(of_process().make)->QueryInterface(iid, object);
    });
}

__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow()
{
    return S_FALSE;
}

} // extern "C"
