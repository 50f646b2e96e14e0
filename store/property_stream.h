#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/property_bag.h"

#include <cstdint>
#include <memory>

namespace host {

/// Creates a stream over one property in direct mode: written data is visible in the property immediately. The stream
/// may outlive the object that opened it. `bag` takes over the stream's contents under `id`; it is null for a stream
/// without a property. Unless `writable`, writes return STG_E_ACCESSDENIED. Reference counting is thread-safe; all
/// other operations are not.
ComPtr<IStream> make_property_stream(std::shared_ptr<stream_state> state, std::shared_ptr<property_bag> bag,
                                     std::uint32_t id, bool writable);

} // namespace host
