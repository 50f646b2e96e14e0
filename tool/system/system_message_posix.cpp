#include "tool/system/system_message.h"

#include "tool/system/code_texts.h"

namespace winapi {

std::string system_message(std::uint32_t code)
{
    for (const auto& entry : code_texts) {
        if (entry.code == code) {
            return std::string(entry.text) + ".\r\n";
        }
    }
    return {};
}

} // namespace winapi
