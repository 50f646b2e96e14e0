#include "digest/sha256.h"

namespace digest {

std::string to_text(const sha256::value& digest)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : digest) {
        text += {digits[byte >> 4U], digits[byte & 0xFU]};
    }
    return text;
}

} // namespace digest
