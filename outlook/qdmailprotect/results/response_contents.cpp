#include "outlook/qdmailprotect/results/response_contents.h"

#include "tool/icap/message.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>

namespace {

constexpr std::size_t PieceSize = 4096;

web::io_data& BodyOf(icap::message& response)
{
    return response.has_response() ? response.response().body() : response.request().body();
}

} // namespace

bool HasContents(icap::message* response)
{
    return response && (response->has_response() || response->has_request());
}

std::string ReadContents(icap::message* response)
{
    std::string contents;
    if (!HasContents(response)) {
        return contents;
    }
    web::io_data& body = BodyOf(*response);
    std::array<char, PieceSize> piece;
    while (const std::uint64_t count = body.read(contents.size(), piece.data(), piece.size())) {
        contents.append(piece.data(), static_cast<std::size_t>(count));
    }
    return contents;
}

void CopyContents(icap::message* response, web::io_data& target)
{
    web::io_data& body = BodyOf(*response);
    const std::uint64_t size = body.size();
    std::array<char, PieceSize> piece;
    for (std::uint64_t offset = 0; offset < size;) {
        const std::uint64_t count = std::min<std::uint64_t>(piece.size(), size - offset);
        if (body.read(offset, piece.data(), count) != count || target.write(offset, piece.data(), count) != count) {
            throw std::runtime_error("the repaired contents were not copied");
        }
        offset += count;
    }
    target.size(size);
}
