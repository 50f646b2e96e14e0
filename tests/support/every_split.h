#pragma once

#include "tests/support/guarded_buffer.h"

#include <cstddef>
#include <deque>
#include <string_view>
#include <vector>

namespace test {

/// The pieces in which an input arrives. Each ends directly before a page without access.
using pieces = std::vector<std::string_view>;

namespace detail {

template <typename Receive>
void deliver(const std::vector<std::string_view>& cuts, Receive&& receive)
{
    std::deque<guarded_buffer> buffers;
    pieces guarded;
    for (const std::string_view cut : cuts) {
        guarded.push_back(buffers.emplace_back(cut).view());
    }
    receive(guarded);
}

} // namespace detail

/// Calls `receive(pieces)` for the input in one piece, in two pieces for every position of the cut, the last byte
/// included, and in pieces of one byte each.
template <typename Receive>
void every_split(std::string_view input, Receive&& receive)
{
    detail::deliver({input}, receive);
    for (std::size_t cut = 1; cut < input.size(); ++cut) {
        detail::deliver({input.substr(0, cut), input.substr(cut)}, receive);
    }
    std::vector<std::string_view> bytes;
    for (std::size_t place = 0; place < input.size(); ++place) {
        bytes.push_back(input.substr(place, 1));
    }
    detail::deliver(bytes, receive);
}

/// Calls `receive(text)` for every beginning of the input, from the empty one to the whole.
template <typename Receive>
void every_beginning(std::string_view input, Receive&& receive)
{
    for (std::size_t length = 0; length <= input.size(); ++length) {
        const guarded_buffer buffer(input.substr(0, length));
        receive(buffer.view());
    }
}

} // namespace test
