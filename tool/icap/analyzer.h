#pragma once

#include "tool/http/analyzer_core.h"
#include "tool/http/head_records.h"
#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace icap {

/// Turns a stream of bytes, arriving in pieces of any size, into messages. At most 16640 bytes wait at a time, which
/// bounds a head. Every operation takes the analyzer's lock, and under it the lock of the message that is filled.
///
/// Blank lines ahead of a message are skipped. Bytes that are no head are dropped up to the next beginning of a
/// request; a reply is no such beginning. After a failure the cache is as it was when the failing step began;
/// take_cached() clears it.
class analyzer
{
public:
    using skipped_handler = http::analyzer_core<message>::skipped_handler;

    analyzer();
    analyzer(const analyzer&) = delete;
    analyzer& operator=(const analyzer&) = delete;

    /// Skips leading line ends and tells what the bytes are as a request.
    [[nodiscard]] virtual http::head_status classify(const char* begin, const char* end);
    /// Passes cached bytes to a message that exists already, until it is complete or the cache is empty.
    virtual void feed(message& message);
    /// Makes the next message from the cache, with as much of its body as there is; empty when no whole head is there
    /// or garbage was dropped. `accept_partial` takes a response whose head has not ended yet but has a header. Raises
    /// std::runtime_error "Encapsulated tag missed", "Wrong format of Encapsulated tag " and what the message raises.
    [[nodiscard]] virtual std::unique_ptr<message> extract(bool accept_partial = false);
    virtual ~analyzer();
    [[nodiscard]] virtual std::unique_ptr<analyzer> create();

    /// Adds bytes to the cache. Raises std::runtime_error "icap analyzer::enqueue: invalid range [beg, end)" and
    /// std::out_of_range "inmemory_cache::append() failed: max size exceeded".
    void enqueue(const char* begin, const char* end) { core_.enqueue(begin, end); }
    /// Empties the cache and returns what it held.
    [[nodiscard]] http::byte_vector take_cached() { return core_.take_cached(); }
    /// Sets what is told of dropped garbage; called under the analyzer's lock.
    void on_skipped(skipped_handler handler) { core_.on_skipped(std::move(handler)); }

private:
    http::head_result<message> head_step(const char* begin, const char* end, bool accept_partial);
    http::head_result<message> drop_garbage(const char* begin, const char* end);

    http::analyzer_core<message> core_;
};

namespace detail {

/// The message of that type, icap::type_request or icap::type_response, with a copy of the head. Raises
/// std::runtime_error "http message type is undefined" and what the message's constructor raises.
[[nodiscard]] std::unique_ptr<message> make_message(std::uint32_t type, const char* head_begin, const char* head_end,
                                                    const encapsulated_offsets& offsets);

} // namespace detail

} // namespace icap
