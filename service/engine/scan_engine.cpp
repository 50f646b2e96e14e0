#include "service/engine/scan_engine.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace service {

namespace {

constexpr std::uint64_t copy_size = 65536;

verdict scan_or_raise(scan_engine& engine, const object_info& info, web::io_data& object, const stop_token& stop)
{
    const auto work = engine.begin(info, stop);
    const auto piece = std::make_unique<std::array<char, copy_size>>();
    const std::uint64_t size = object.size();
    std::uint64_t offset = 0;
    while (offset < size) {
        if (stop.stop_requested()) {
            return error_verdict{"the service is stopping"};
        }
        const std::uint64_t count = object.read(offset, piece->data(), std::min(size - offset, copy_size));
        if (count == 0) {
            return error_verdict{"the object's store ends before its size"};
        }
        if (!work->data({piece->data(), static_cast<std::size_t>(count)})) {
            break;
        }
        offset += count;
    }
    return work->finish(object);
}

} // namespace

verdict scan(scan_engine& engine, const object_info& info, web::io_data& object, const stop_token& stop)
{
    try {
        return scan_or_raise(engine, info, object, stop);
    } catch (const std::exception& failure) {
        return error_verdict{failure.what()};
    } catch (...) {
        return error_verdict{"unknown failure of the engine"};
    }
}

} // namespace service
