#include "outlook/qdmailprotect/results/response_contents.h"

#include "tool/icap/message.h"

#include <array>
#include <cstdint>

namespace {

constexpr std::size_t PieceSize = 4096;

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
    web::io_data& body = response->has_response() ? response->response().body() : response->request().body();
    std::array<char, PieceSize> piece;
    while (const std::uint64_t count = body.read(contents.size(), piece.data(), piece.size())) {
        contents.append(piece.data(), static_cast<std::size_t>(count));
    }
    return contents;
}
