#include "tool/system/once.h"

#include "tool/system/conversions.h"

namespace winapi {

std::wstring once_mutex_name(std::uint32_t process_id, const void* flag)
{
    const std::string numbers = to_hex(process_id) + to_hex(reinterpret_cast<std::uintptr_t>(flag));
    return L"Local\\EF6C6B0EC6D341F8BC4AAC5E5AFA7E71" + std::wstring(numbers.begin(), numbers.end());
}

} // namespace winapi
