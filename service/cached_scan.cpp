#include "service/cached_scan.h"

#include "service/log.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace service {

namespace {

constexpr std::uint64_t read_piece = 65536;

/// Returns the digest of all that a verdict may depend on: what the engine learns of an object, and its bytes. Returns
/// nullopt if it cannot be computed.
std::optional<verdict_cache::key> digest_of(const object_info& info, web::io_data& object, const stop_token& stop)
{
    try {
        digest::sha256 sum;
        sum.add(std::to_string(info.name.size()) + ":" + info.name);
        const std::uint64_t size = object.size();
        const auto piece = std::make_unique_for_overwrite<char[]>(std::min(size, read_piece));
        for (std::uint64_t offset = 0; offset < size;) {
            const std::uint64_t count = object.read(offset, piece.get(), std::min(size - offset, read_piece));
            if (count == 0 || stop.stop_requested()) {
                return std::nullopt;
            }
            sum.add({piece.get(), static_cast<std::size_t>(count)});
            offset += count;
        }
        return sum.finish();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

verdict cached_scan(verdict_cache& cache, const istag& tag, scan_engine& engine, const object_info& info,
                    web::io_data& object, const stop_token& stop)
{
    const std::uint64_t generation =
        cache.enabled() && engine.worth_caching() ? tag.generation() : 0; // of before the scan
    const auto key = generation != 0 ? digest_of(info, object, stop) : std::nullopt;
    if (!key) {
        return scan(engine, info, object, stop);
    }
    if (auto known = cache.find(*key, generation)) {
        return std::move(*known);
    }
    verdict outcome = scan(engine, info, object, stop);
    if (!stop.stop_requested()) {
        try {
            cache.enter(*key, generation, outcome);
        } catch (const std::exception& problem) {
            LOG_LINE(service_log(), 300, "a verdict could not be kept: " << problem.what());
        }
    }
    return outcome;
}

} // namespace service
