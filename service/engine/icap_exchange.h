#pragma once

#include "service/engine/icap_answer.h"
#include "service/engine/icap_url.h"
#include "service/engine/scan_engine.h"
#include "service/engine/timed_stream.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// One object given to an ICAP server (RESPMOD) over one connection, and the verdict in its answer. The object is sent
/// as the body of an HTTP response. Bytes of the answer are read while the object is sent, because a server may answer
/// from its beginning on.
///
/// The verdict is
///   - blocked if a head of the final answer reports a threat, whatever its status, and even if the rest of the answer
///     is missing; repaired if the report specifies a removed threat and the answer contains an object;
///   - clean for 204, and for 200 with the same object;
///   - blocked for 200 with a response of another kind ("blocked by HOST", for a status of 300 or more) or with another
///     object ("replaced by HOST"): a change is never passed on and never ignored;
///   - unchecked for 413, and for a clean verdict on an object that was not sent whole;
///   - an error for any other status.
class icap_exchange final : private icap_answer::body_receiver
{
public:
    /// Bytes of a body that are read only to keep the connection.
    static constexpr std::uint64_t most_discarded = std::uint64_t{1} << 18U;
    /// The time for these bytes: the verdict waits for them.
    static constexpr std::chrono::milliseconds discard_time{1000};
    /// Bytes by which a repaired object may exceed the original one.
    static constexpr std::uint64_t most_growth = std::uint64_t{1} << 20U;
    static constexpr std::size_t longest_preview = 65536;

    /// `preview` is the size of the preview that the server has asked for.
    icap_exchange(timed_stream& stream, const icap_url& url, std::optional<std::size_t> preview,
                  const object_info& info, web::io_data& object);

    /// Must be called once. Throws connection_lost if the connection ended before the first byte of an answer, and
    /// other exceptions derived from std::exception for an answer that cannot be used.
    [[nodiscard]] verdict run();
    /// Returns true if any byte of an answer has arrived.
    [[nodiscard]] bool answered() const noexcept { return continued_ || answer_.begun(); }
    /// Returns true if the connection may be used for the next request.
    [[nodiscard]] bool keeps_connection() const;
    /// Returns the head of the final answer, if it has arrived.
    [[nodiscard]] const icap_head* head() const noexcept { return answer_.has_head() ? &answer_.head() : nullptr; }

private:
    void receive(std::string_view bytes) override;
    void compare(std::string_view bytes);
    void keep_repaired(std::string_view bytes);

    verdict exchange();
    void send_request();
    void send_preview();
    void send_rest();
    void send(std::string_view bytes);
    void send_chunks(std::uint64_t begin, std::uint64_t end);
    void read_answer();
    bool read_more();
    void discard_rest();

    [[nodiscard]] bool decided() const;
    [[nodiscard]] std::optional<std::string> threat() const;
    [[nodiscard]] bool is_repair() const;
    [[nodiscard]] verdict conclusion();
    [[nodiscard]] verdict conclusion_of_object();

    timed_stream& stream_;
    const icap_url& url_;
    web::io_data& object_;
    std::uint64_t size_;
    std::optional<std::size_t> preview_;
    std::string path_; ///< of the object's URL
    icap_answer answer_;
    std::vector<char> piece_;
    bool stopped_ = false;   ///< the server wants no more bytes, or takes none
    bool continued_ = false; ///< the server has asked for the bytes behind the preview
    bool same_ = true;       ///< the answer's object is the same as far as it has arrived
    std::uint64_t compared_ = 0;
    std::uint64_t discarded_ = 0;
    std::unique_ptr<web::io_data> repaired_;
};

} // namespace service
