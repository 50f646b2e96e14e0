#include "tests/tool/http/spirit_judge.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

/// Passes each input to both readers of every grammar and stops at the first difference.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A copy of exactly this size, so that a read beyond the input is detected.
    const std::vector<char> copy(data, data + size);
    unsigned hits = 0;
    const std::string difference = judge::difference(std::string_view(copy.data(), copy.size()), hits);
    if (!difference.empty()) {
        std::fputs(difference.c_str(), stderr);
        std::abort();
    }
    return 0;
}
