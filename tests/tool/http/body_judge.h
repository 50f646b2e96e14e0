#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace judge {

/// A second decoder of chunked bodies, slow and simple: every piece is collected whole and parsed again by the second
/// reader. It judges http::http_message_body: both must take the same bytes of every piece.
class chunked_body
{
public:
    /// Takes bytes and returns the count taken. Must not be called after completion.
    std::size_t append(std::string_view input);

    [[nodiscard]] bool completed() const noexcept { return completed_; }
    [[nodiscard]] bool ieof() const noexcept { return ieof_; }
    [[nodiscard]] const std::string& payload() const noexcept { return payload_; }
    [[nodiscard]] const std::string& trailers() const noexcept { return trailers_; }

private:
    struct line
    {
        std::uint64_t size = ~std::uint64_t{0};
        bool completed = false;
    };
    line read_line(std::string_view input, std::size_t& used);

    bool completed_ = false;
    bool ieof_ = false;
    std::string pending_;
    std::string payload_;
    std::string trailers_;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> chunks_; ///< size and received bytes
};

} // namespace judge
