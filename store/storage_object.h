#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/storage_tree.h"

namespace host {

/// A storage that can be looked into but not changed: its streams and storages open by name, everything that would
/// change it answers STG_E_ACCESSDENIED. Counting is free, the rest is for one thread at a time.
ComPtr<IStorage> make_storage_object(storage_ptr storage);

} // namespace host
