#pragma once

#include "service/engine/scan_engine.h"
#include "tool/icap/response_message.h"
#include "tool/icap/response_synthesis.h"

#include <cstdint>
#include <memory>
#include <string>

namespace service {

class request_reader;

/// The status of a reply for an error of the service itself.
inline constexpr std::uint32_t server_error = 500;
/// The status of a reply for a lack of room.
inline constexpr std::uint32_t unavailable = 503;

/// Makes the replies of one service. Thread-safe. The caller provides the ISTag.
class reply_maker
{
public:
    using reply = std::unique_ptr<icap::response_message>;

    /// `preview` is the preview size in bytes that the OPTIONS response requests.
    explicit reply_maker(std::uint32_t preview);

    [[nodiscard]] reply options(const std::string& istag) const;
    /// Returns a reply that consists of a head only: 100, 204 and the errors. If `close` is true, the head announces
    /// the end of the connection to the peer.
    [[nodiscard]] reply bare(const std::string& istag, std::uint32_t status, bool close = false) const;
    /// Returns the response to a judged request. Moves the data it needs out of the request. A 204 is sent only to a
    /// peer that allows it or has sent no more than a preview; other peers receive their object back.
    [[nodiscard]] reply judged(const std::string& istag, request_reader& reader, verdict outcome,
                               const std::string& object_name) const;

private:
    [[nodiscard]] reply clean(const std::string& istag, request_reader& reader) const;
    [[nodiscard]] reply blocked(const std::string& istag, const std::string& threat,
                                const std::string& object_name) const;
    [[nodiscard]] reply repaired(const std::string& istag, request_reader& reader, repaired_verdict outcome) const;

    icap::server_options options_;
};

/// Returns the name of a request's object for display: the attachment name given by the mail client, else the last
/// segment of the encapsulated request's URI. May be empty.
[[nodiscard]] std::string object_name(request_reader& reader);

} // namespace service
