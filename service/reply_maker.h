#pragma once

#include "service/scan_engine.h"
#include "tool/icap/response_message.h"
#include "tool/icap/response_synthesis.h"

#include <cstdint>
#include <memory>
#include <string>

namespace service {

class request_reader;

/// The status of a reply for a fault of the service itself.
inline constexpr std::uint32_t server_error = 500;

/// Makes the replies of one service. Used from any thread; `options` and the ISTag come from outside.
class reply_maker
{
public:
    using reply = std::unique_ptr<icap::response_message>;

    /// `preview` is the count of bytes that OPTIONS asks for.
    explicit reply_maker(std::uint32_t preview);

    [[nodiscard]] reply options(const std::string& istag) const;
    /// A reply of a head only: 100, 204 and the errors. `close` tells the peer that the connection ends.
    [[nodiscard]] reply bare(const std::string& istag, std::uint32_t status, bool close = false) const;
    /// The answer to a request that was judged; takes what it needs out of the request. A 204 goes only to a peer that
    /// allows it or has sent no more than a preview; others get their object back.
    [[nodiscard]] reply judged(const std::string& istag, request_reader& reader, verdict outcome,
                               const std::string& object_name) const;

private:
    [[nodiscard]] reply clean(const std::string& istag, request_reader& reader) const;
    [[nodiscard]] reply blocked(const std::string& istag, const std::string& threat,
                                const std::string& object_name) const;
    [[nodiscard]] reply repaired(const std::string& istag, request_reader& reader, repaired_verdict outcome) const;

    icap::server_options options_;
};

/// The name of the object that a request is about, for people: what the mail client calls the attachment, else the
/// last part of the encapsulated request's URI; may be empty.
[[nodiscard]] std::string object_name(request_reader& reader);

} // namespace service
