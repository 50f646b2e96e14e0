#include "client/mailhost/broker_class.h"

#include "client/model/class_object.h"
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
    stand_in_broker::answer settings;
};

offered_broker& of_process()
{
    static offered_broker only;
    return only;
}

} // namespace

void offer_broker(stand_in_broker::answer settings)
{
    const std::lock_guard guard(of_process().lock);
    of_process().settings = std::move(settings);
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
        if (id != broker_class || !of_process().settings) {
            return CLASS_E_CLASSNOTAVAILABLE;
        }
        const auto factory = MakeCom<class_object>([settings = of_process().settings](IUnknown** made) {
            *made = MakeCom<stand_in_broker>(settings).detach();
            return HRESULT{S_OK};
        });
        return factory->QueryInterface(iid, object);
    });
}

__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow()
{
    return S_FALSE;
}

} // extern "C"
