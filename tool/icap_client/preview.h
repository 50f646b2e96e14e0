#pragma once

#include "tool/web/io_data.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace icap::client {

/// The first bytes of a body. They are sent ahead so that the service can answer whether it wants the rest.
class preview
{
public:
    /// Makes a preview of `size` zero bytes.
    explicit preview(std::uint32_t size)
        : bytes_(size)
    {}

    /// Reads the body's first bytes. If the body is shorter than the preview, the remaining bytes stay zero. An empty
    /// preview reads nothing.
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

/// Appends a preview to a request: its size in hexadecimal, directly followed by its bytes (without the line break that
/// the chunks that may follow later have), then always the end mark.
void append_preview_tail(std::string& request, std::string_view preview);

} // namespace icap::client
