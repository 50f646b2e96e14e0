#include "service/engine/scan_engine.h"

#include "tool/web/io_property.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

namespace service {

namespace {

constexpr std::uint64_t largest_piece = 65536;

/// The bytes of an object, in pieces: those of an object in memory are not copied.
class piece_reader
{
public:
    explicit piece_reader(web::io_data& object)
        : object_(object)
        , size_(object.size())
    {
        std::byte* base = nullptr;
        std::uint64_t size = 0;
        if (auto* property = dynamic_cast<web::io_property*>(&object); property && property->memory_range(base, size)) {
            bytes_ = {reinterpret_cast<const char*>(base), static_cast<std::size_t>(size)};
            size_ = size;
        } else {
            copy_ = std::make_unique_for_overwrite<char[]>(most());
        }
    }

    /// Returns the next bytes; nothing if the store ends before its size.
    std::string_view next()
    {
        std::string_view piece = bytes_.substr(std::min<std::uint64_t>(done_, bytes_.size()), most());
        if (copy_) {
            piece = {copy_.get(), static_cast<std::size_t>(object_.read(done_, copy_.get(), most()))};
        }
        done_ += piece.size();
        return piece;
    }
    [[nodiscard]] bool at_end() const noexcept { return done_ >= size_; }

private:
    [[nodiscard]] std::size_t most() const { return static_cast<std::size_t>(std::min(size_ - done_, largest_piece)); }

    web::io_data& object_;
    std::uint64_t size_;
    std::uint64_t done_ = 0;
    std::string_view bytes_;
    std::unique_ptr<char[]> copy_;
};

verdict scan_or_raise(scan_engine& engine, const object_info& info, web::io_data& object, const stop_token& stop)
{
    const auto work = engine.begin(info, stop);
    piece_reader pieces(object);
    while (!pieces.at_end()) {
        if (stop.stop_requested()) {
            return error_verdict{"the service is stopping"};
        }
        const std::string_view piece = pieces.next();
        if (piece.empty()) {
            return error_verdict{"the object's store ends before its size"};
        }
        if (!work->data(piece)) {
            break;
        }
    }
    return work->finish(object);
}

} // namespace

verdict scan(scan_engine& engine, const object_info& info, web::io_data& object, const stop_token& stop)
{
    verdict outcome;
    if (auto failure = failure_of([&] { outcome = scan_or_raise(engine, info, object, stop); })) {
        return std::move(*failure);
    }
    return outcome;
}

} // namespace service
