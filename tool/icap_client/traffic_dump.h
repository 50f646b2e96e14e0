#pragma once

#include <string_view>
#include <vector>

/// A facility for debugging: writes a range of bytes to a new file. The file goes to the folder that the registry value
/// DumpHttpTrafficPath names, or to the current folder when there is none; its name is `text`, a nine-digit number that
/// grows with each use of the form, "_", and the address of `owner`. Failures are ignored.
namespace icap::client {

using byte_iterator = std::vector<char>::const_iterator;

/// What the client has sent.
void dump_request_traffic(std::string_view text, const void* owner, const char* begin, const char* end) noexcept;
void dump_request_traffic(std::string_view text, const void* owner, byte_iterator begin, byte_iterator end) noexcept;

/// What the client has received.
void dump_response_traffic(std::string_view text, const void* owner, const char* begin, const char* end) noexcept;
void dump_response_traffic(std::string_view text, const void* owner, byte_iterator begin, byte_iterator end) noexcept;

} // namespace icap::client
