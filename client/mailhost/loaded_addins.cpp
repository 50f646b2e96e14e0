#include "client/mailhost/loaded_addins.h"

#include "client/model/addin_list.h"

namespace host {

loaded_addins::loaded_addins(const ComPtr<application>& client)
{
    for (const addin_entry& entry : list_addins()) {
        if (entry.loaded_at_start()) {
            addins_.push_back(std::make_unique<connected_addin>(create_addin(entry.prog_id), client));
        }
    }
    if (addins_.empty()) {
        throw addin_failure("no add-in is registered that is loaded at the start", REGDB_E_CLASSNOTREG);
    }
}

loaded_addins::~loaded_addins()
{
    while (!addins_.empty()) {
        addins_.pop_front();
    }
}

void loaded_addins::startup_complete()
{
    for (const auto& addin : addins_) {
        addin->startup_complete();
    }
}

} // namespace host
