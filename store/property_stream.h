#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/property_bag.h"

#include <cstdint>
#include <memory>

namespace host {

/// A stream over one property in direct mode: what is written is in the property at once. It may outlive the object
/// that it came from. `bag` follows the stream's writes under `id`; null for a stream that belongs to no property. One
/// that isn't `writable` answers STG_E_ACCESSDENIED to writes. Used by one thread at a time; counting is free.
ComPtr<IStream> make_property_stream(std::shared_ptr<stream_state> state, std::shared_ptr<property_bag> bag,
                                     std::uint32_t id, bool writable);

} // namespace host
