#include "tool/icap_client/traffic_dump.h"

#include "tool/system/registry.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace icap::client {

namespace {

using counter = std::atomic<int>;

/// Returns the folder with a trailing separator, or an empty path. The value is read anew each time, so that dumping
/// can be switched on in a running process.
std::filesystem::path dump_folder()
{
    const auto folder = winapi::local_machine().string_value(winapi::registry_names::dump_key,
                                                             winapi::registry_names::dump_http_traffic_path);
    if (!folder) {
        return {};
    }
    std::filesystem::path path{*folder};
    path += std::filesystem::path::preferred_separator;
    return path;
}

std::filesystem::path dump_file(std::string_view text, const void* owner, counter& uses)
{
    std::array<char, 64> number{};
    static_cast<void>(std::snprintf(number.data(), number.size(), "%09d_%p", ++uses, owner));
    std::filesystem::path path = dump_folder();
    path += std::filesystem::path{std::string{text} + number.data()};
    return path;
}

template <class Iterator>
void dump(std::string_view text, const void* owner, Iterator begin, Iterator end, counter& uses) noexcept
{
    try {
        std::ofstream file(dump_file(text, owner, uses), std::ios::binary);
        if (file) {
            std::copy(begin, end, std::ostreambuf_iterator<char>(file));
        }
    } catch (const std::exception&) {
        // A dump is an aid for debugging; its failure has no effect on the caller.
        return;
    }
}

} // namespace

void dump_request_traffic(std::string_view text, const void* owner, const char* begin, const char* end) noexcept
{
    static counter uses{0};
    dump(text, owner, begin, end, uses);
}

void dump_request_traffic(std::string_view text, const void* owner, byte_iterator begin, byte_iterator end) noexcept
{
    static counter uses{0};
    dump(text, owner, begin, end, uses);
}

void dump_response_traffic(std::string_view text, const void* owner, const char* begin, const char* end) noexcept
{
    static counter uses{0};
    dump(text, owner, begin, end, uses);
}

void dump_response_traffic(std::string_view text, const void* owner, byte_iterator begin, byte_iterator end) noexcept
{
    static counter uses{0};
    dump(text, owner, begin, end, uses);
}

} // namespace icap::client
