#pragma once

#include "broker/settings_object.h"
#include "store/object_ledger.h"

namespace host {

using broker::put_bytes;

/// Replaces the product's broker in tests: answers as it does, with what a function gives. Recorded in the ledger of
/// objects.
class stand_in_broker : public broker::settings_object
{
public:
    using settings_object::settings_object;

private:
    ledger_entry entry_{"settings broker", static_cast<IDispatch*>(this)};
};

} // namespace host
