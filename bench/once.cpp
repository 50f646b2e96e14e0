#include "bench/once.h"

#include <algorithm>
#include <string_view>

namespace bench {

namespace {

bool only_once = false;

} // namespace

void take_once(int& count, char** arguments)
{
    char** const end = arguments + count;
    char** const rest =
        std::remove_if(arguments, end, [](const char* argument) { return std::string_view(argument) == "--once"; });
    only_once = rest != end;
    count = static_cast<int>(rest - arguments);
    if (only_once) {
        *rest = nullptr;
    }
}

bool once() noexcept
{
    return only_once;
}

} // namespace bench
