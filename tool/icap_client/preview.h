#pragma once

#include "tool/web/io_data.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace icap::client {

/// The first bytes of a body, sent ahead so that the service can say whether it wants the rest.
class preview
{
public:
    /// `size` zero bytes.
    explicit preview(std::uint32_t size)
        : bytes_(size)
    {}

    /// Reads the body's first bytes; what a shorter body does not give stays zero. An empty preview reads nothing.
    void fill(web::io_data& body)
    {
        if (!bytes_.empty()) {
            body.read(0, bytes_.data(), bytes_.size());
        }
    }

    [[nodiscard]] std::size_t size() const noexcept { return bytes_.size(); }
    [[nodiscard]] bool empty() const noexcept { return bytes_.empty(); }
    [[nodiscard]] std::string_view bytes() const noexcept { return {bytes_.data(), bytes_.size()}; }

private:
    std::vector<char> bytes_;
};

/// Adds a preview to a request: its size in hexadecimal straight before its bytes (there is no line break between
/// them, as there is in the chunks that may follow later), then always the mark of the end.
void append_preview_tail(std::string& request, std::string_view preview);

} // namespace icap::client
