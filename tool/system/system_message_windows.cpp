#include "tool/system/system_message.h"

#include <windows.h>

#include <memory>

namespace winapi {

namespace {

struct local_free
{
    void operator()(char* text) const noexcept { ::LocalFree(text); }
};

} // namespace

std::string system_message(std::uint32_t code)
{
    char* text = nullptr;
    const DWORD length =
        ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                         nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
    const std::unique_ptr<char, local_free> owner(text);
    return length == 0 ? std::string() : std::string(text, length);
}

} // namespace winapi
