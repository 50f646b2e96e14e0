#pragma once

#include "tool/http/analyzer_core.h"
#include "tool/http/head_records.h"
#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace icap {

/// Turns a stream of bytes, which arrives in pieces of any size, into ICAP messages with their encapsulated HTTP
/// messages. The pieces are collected in a cache of 16640 bytes, which is also the limit for one head. Requests and
/// responses are both read, so that either side of the protocol can use this class.
///
/// Example:
///
///     icap::analyzer analyzer;
///     std::unique_ptr<icap::message> message;
///     for (std::string_view piece = receive(); !piece.empty(); piece = receive()) {
///         analyzer.enqueue(piece.data(), piece.data() + piece.size());
///         if (message) {
///             analyzer.feed(*message);
///         } else {
///             message = analyzer.extract();
///         }
///         if (message && message->complete()) {
///             break;
///         }
///     }
///
/// Tolerated: line ends ahead of a message; a broken header line behind a start line, which waits for more bytes; any
/// Encapsulated header in a request for OPTIONS, whose contents are ignored. Bytes that are not a head are garbage and
/// are dropped up to the next beginning of a request. A response is not looked for behind garbage; it is dropped too.
///
/// Refused, by an exception: a message other than a request for OPTIONS without a readable Encapsulated header; bytes
/// that follow a message in the piece that completes it, if extract() or feed() passes them to that message.
///
/// Thread-safety: enqueue(), feed(), extract(), take_cached() and on_skipped() take the analyzer's lock and, under it,
/// the lock of the message that is filled. After an exception the cache is as described in http::analyzer_core;
/// take_cached() clears it.
class analyzer
{
public:
    /// Type of the function that receives dropped garbage; see on_skipped().
    using skipped_handler = http::analyzer_core<message>::skipped_handler;

    /// Makes an analyzer with an empty cache. Throws error::win32exception if the cache cannot be allocated.
    analyzer();
    analyzer(const analyzer&) = delete;
    analyzer& operator=(const analyzer&) = delete;

    /// Returns whether the bytes, after any line ends, are a request head, may become one, or cannot be one. Responses
    /// and an empty range are invalid. Uses no state.
    [[nodiscard]] virtual http::head_status classify(const char* begin, const char* end);
    /// Passes cached bytes to a message that extract() returned earlier, until it is complete or the cache is empty.
    /// Does nothing for a complete message. Throws what message::append() throws, in particular for bytes beyond the
    /// end of the message.
    virtual void feed(message& message);
    /// Makes the next message from the cache and passes the body bytes that are already there to it. The caller owns
    /// the message and checks complete(); feed() adds what arrives later. Returns null if the cache does not contain a
    /// whole head; a partial head remains in the cache. With `accept_partial`, a response whose head has not ended is
    /// accepted if at least one of its header lines is there.
    ///
    /// Throws std::runtime_error "Encapsulated tag missed" and "Wrong format of Encapsulated tag ", and what the
    /// constructor and append() of request_message or response_message throw.
    [[nodiscard]] virtual std::unique_ptr<message> extract(bool accept_partial = false);
    virtual ~analyzer();
    /// Returns a new analyzer with an empty cache.
    [[nodiscard]] virtual std::unique_ptr<analyzer> create();

    /// Adds bytes to the cache. Throws std::runtime_error "icap analyzer::enqueue: invalid range [beg, end)" for a
    /// reversed range, and std::out_of_range "inmemory_cache::append() failed: max size exceeded" if the range does not
    /// fit; nothing is added then.
    void enqueue(const char* begin, const char* end) { core_.enqueue(begin, end); }
    /// Empties the cache and returns its former contents. Use it to discard the input after an exception.
    [[nodiscard]] http::byte_vector take_cached() { return core_.take_cached(); }
    /// Empties the cache. Allocates nothing.
    void drop_cached() { core_.drop_cached(); }
    /// Returns true if no byte waits in the cache.
    [[nodiscard]] bool empty() { return core_.empty(); }
    /// Sets the function that is called with each run of dropped garbage; an empty function disables it. It is called
    /// under the analyzer's lock. The range is valid during the call only, and the function must not call the analyzer.
    void on_skipped(skipped_handler handler) { core_.on_skipped(std::move(handler)); }

private:
    http::head_result<message> head_step(const char* begin, const char* end, bool accept_partial);
    http::head_result<message> drop_garbage(const char* begin, const char* end);

    http::analyzer_core<message> core_;
};

namespace detail {

/// Makes a message of `type`, icap::type_request or icap::type_response, with a copy of the head. Throws
/// std::runtime_error "http message type is undefined" for another type, and what the message's constructor throws.
[[nodiscard]] std::unique_ptr<message> make_message(std::uint32_t type, const char* head_begin, const char* head_end,
                                                    const encapsulated_offsets& offsets);

} // namespace detail

} // namespace icap
