#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/storage_tree.h"

namespace host {

/// Creates a read-only storage: its streams and storages can be opened by name, and all operations that would change it
/// return STG_E_ACCESSDENIED. Reference counting is thread-safe; all other operations are not.
ComPtr<IStorage> make_storage_object(storage_ptr storage);

} // namespace host
