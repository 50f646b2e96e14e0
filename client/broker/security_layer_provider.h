#pragma once

#include "client/model/stand_in_broker.h"
#include "outlook/qdmailprotect/com/module_lifetime.h"

namespace host {

// {5F0B6E6C-3C0E-4C0B-9A53-2E4B7B8D61A7}
inline constexpr CLSID security_layer_provider_id{
    0x5F0B6E6C, 0x3C0E, 0x4C0B, {0x9A, 0x53, 0x2E, 0x4B, 0x7B, 0x8D, 0x61, 0xA7}};

/// Replaces the product's broker: returns the result that the configuration specifies. The configuration is read again
/// on each call.
class security_layer_provider final : public stand_in_broker
{
public:
    security_layer_provider();

private:
    ModuleReference module_;
};

} // namespace host
