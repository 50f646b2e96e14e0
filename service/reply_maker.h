#pragma once

#include "service/cause.h"
#include "service/engine/scan_engine.h"
#include "service/no_content_reply.h"
#include "service/notice_template.h"
#include "service/reply.h"
#include "tool/icap/response_message.h"
#include "tool/icap/response_synthesis.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

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
    using reply = service::reply;
    using message = std::unique_ptr<icap::response_message>;

    /// `preview` is the preview size in bytes that the OPTIONS response requests.
    explicit reply_maker(std::uint32_t preview, notice_template page = notice_template());

    [[nodiscard]] reply options(const std::string& istag) const;
    /// Returns a reply that consists of a head only: 100, 204 and the errors. If `close` is true, the head announces
    /// the end of the connection to the peer.
    [[nodiscard]] message bare(const std::string& istag, std::uint32_t status, bool close = false) const;
    /// Returns the response to a judged request. Moves the data it needs out of the request. A 204 is sent only to a
    /// peer that allows it or has sent no more than a preview; other peers receive their object back.
    [[nodiscard]] reply judged(const std::string& istag, request_reader& reader, verdict outcome,
                               const std::string& object_name) const;
    /// Returns a notice in place of an object that is withheld for another reason than a threat.
    [[nodiscard]] reply withheld(const std::string& istag, cause why, const std::string& object_name,
                                 bool close = false) const;

private:
    [[nodiscard]] reply clean(const std::string& istag, request_reader& reader) const;
    [[nodiscard]] reply blocked(const std::string& istag, const std::string& threat,
                                const std::string& object_name) const;
    [[nodiscard]] reply notice_reply(const std::string& istag, const notice& reported, std::string_view threat,
                                     bool close) const;
    [[nodiscard]] reply repaired(const std::string& istag, request_reader& reader, repaired_verdict outcome) const;

    [[nodiscard]] std::string whole_no_content(const std::string& istag) const;

    icap::server_options options_;
    std::shared_ptr<no_content_reply> no_content_ = std::make_shared<no_content_reply>();
    notice_template page_;
};

/// Returns the name of a request's object for display: the attachment name given by the mail client, else the last
/// segment of the encapsulated request's URI. May be empty.
[[nodiscard]] std::string object_name(request_reader& reader);

} // namespace service
