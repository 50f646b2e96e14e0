#include "bench/settings_peer.h"

namespace bench::peer {

bool is_there() noexcept
{
    return false;
}

std::string bytes_of(const DOVA::Settings::WebTrafficMonitorSettings& /*settings*/)
{
    return {};
}

std::size_t parse(const std::string& /*bytes*/, std::uint64_t /*count*/)
{
    return 0;
}

std::size_t parse_in_arena(const std::string& /*bytes*/, std::uint64_t /*count*/)
{
    return 0;
}

std::size_t serialise(const std::string& /*bytes*/, std::uint64_t /*count*/)
{
    return 0;
}

} // namespace bench::peer
