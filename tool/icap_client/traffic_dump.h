#pragma once

#include <string_view>
#include <vector>

/// An aid for debugging: writes a range of bytes to a new file in the folder that the registry value
/// DumpHttpTrafficPath names, or in the current folder if there is none. The file's name is `text`, a nine-digit number
/// that increases with each use of the form, "_", and the address of `owner`. Failures are ignored.
namespace icap::client {

using byte_iterator = std::vector<char>::const_iterator;

/// Dumps bytes that the client has sent.
void dump_request_traffic(std::string_view text, const void* owner, const char* begin, const char* end) noexcept;
void dump_request_traffic(std::string_view text, const void* owner, byte_iterator begin, byte_iterator end) noexcept;

/// Dumps bytes that the client has received.
void dump_response_traffic(std::string_view text, const void* owner, const char* begin, const char* end) noexcept;
void dump_response_traffic(std::string_view text, const void* owner, byte_iterator begin, byte_iterator end) noexcept;

} // namespace icap::client
