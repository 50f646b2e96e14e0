#pragma once

#include "tool/http/analyzer_core.h"
#include "tool/http/message.h"

#include <cstdint>
#include <memory>

namespace http {

/// Passes the method of a request to the reader of its response. The length of a response body depends on that method:
/// the response to HEAD has no body.
///
/// An analyzer calls both functions under its own lock. Two analyzers that share one object do not share that lock.
class support_persistent
{
public:
    /// Stores the method_id of the request head that was just read; method::unknown for a method without a number.
    virtual void set(std::uint32_t method_id) = 0;
    /// Returns the method_id that set() stored last. It is called once for each response head that is read.
    [[nodiscard]] virtual std::uint32_t get() const = 0;
    virtual ~support_persistent() = default;
};

/// Turns a stream of bytes, which arrives in pieces of any size, into HTTP messages. The pieces are collected in a
/// cache of 16640 bytes, which is also the limit for one head.
///
/// Example:
///
///     http::analyzer analyzer;
///     std::unique_ptr<http::message> message;
///     for (std::string_view piece = receive(); !piece.empty(); piece = receive()) {
///         analyzer.enqueue(piece.data(), piece.data() + piece.size());
///         if (message) {
///             analyzer.feed(*message);
///         } else {
///             message = analyzer.extract();
///         }
///         if (message && message->complete()) {
///             break; // bytes of a following message remain in the cache
///         }
///     }
///
/// Heads: the text is parsed as a request, then as a response, then as a request with an unusual method; grammar.h
/// lists the accepted forms. Line ends ahead of a head are skipped. Other bytes that cannot begin a head are garbage
/// and are dropped up to the next beginning of a request or, if there is none, of a response.
///
/// Body length, in this order:
/// - a response to HEAD has no body;
/// - without Transfer-Encoding, the leading decimal number of Content-Length is the length, 0 if it has no digits;
/// - a request, a response with a status of 100 to 199, 204 or 304, and a 200 response whose reason contains
///   "connection established" (in any case of letters) have no body;
/// - any other response has an unknown length (unknown_length) and takes all bytes that follow.
/// A Transfer-Encoding of exactly "chunked", in any case of letters, makes a chunked_message. "gzip, chunked" does not.
///
/// Thread-safety: enqueue(), feed(), extract(), take_cached() and on_skipped() take the analyzer's lock. classify()
/// uses no state. set_tracker() is not locked and must not run at the same time as the others.
class analyzer
{
public:
    /// Type of the function that receives dropped garbage; see on_skipped().
    using skipped_handler = analyzer_core<message>::skipped_handler;

    /// Makes an analyzer with an empty cache. `link` may be null: the method of the request is then unknown. It is not
    /// owned and must outlive the analyzer or be replaced by set_tracker(). Throws error::win32exception if the cache
    /// cannot be allocated.
    explicit analyzer(support_persistent* link = nullptr);
    analyzer(const analyzer&) = delete;
    analyzer& operator=(const analyzer&) = delete;

    /// Returns whether the bytes, after any line ends, are a request head, may become one, or cannot be one. Responses
    /// and an empty range are invalid. A request with an unusual method is complete if the whole head is in the range
    /// and its method has a number (method_id); its beginning is invalid.
    [[nodiscard]] virtual head_status classify(const char* begin, const char* end);
    /// Passes cached bytes to a message that extract() returned earlier, until it is complete or the cache is empty.
    /// Bytes beyond the end of the message remain in the cache. Does nothing for a complete message. Throws what
    /// message::append() throws; the state after a failure is described in analyzer_core.
    virtual void feed(message& message);
    /// Makes the next message from the cache and passes to it the body bytes that are already there. The caller owns
    /// the message and checks complete(); feed() adds what arrives later.
    ///
    /// Returns null if the cache does not contain a whole head. A partial head remains in the cache. With
    /// `accept_partial`, a response whose head has not ended is accepted if at least one of its header lines is there;
    /// the bytes behind these lines are body bytes.
    ///
    /// Throws what the message's body store throws, such as error::win32exception if no temporary file can be made.
    [[nodiscard]] virtual std::unique_ptr<message> extract(bool accept_partial = false);
    virtual ~analyzer();
    /// Returns a new analyzer with the same link and an empty cache.
    [[nodiscard]] virtual std::unique_ptr<analyzer> create();
    /// Replaces the link, which may be null, and returns the old one.
    virtual support_persistent* set_tracker(support_persistent* link);

    /// Adds bytes to the cache. Throws std::runtime_error "icap analyzer::enqueue: invalid range [beg, end)" for a
    /// reversed range, and std::out_of_range "inmemory_cache::append() failed: max size exceeded" if the range does not
    /// fit; nothing is added then.
    void enqueue(const char* begin, const char* end) { core_.enqueue(begin, end); }
    /// Empties the cache and returns its former contents. Use it to discard the input after an exception.
    [[nodiscard]] byte_vector take_cached() { return core_.take_cached(); }
    /// Sets the function that is called with each run of dropped garbage; an empty function disables it. It is called
    /// under the analyzer's lock. The range is valid during the call only, and the function must not call the analyzer.
    void on_skipped(skipped_handler handler) { core_.on_skipped(std::move(handler)); }

private:
    head_result<message> head_step(const char* begin, const char* end, bool accept_partial);

    support_persistent* link_;
    analyzer_core<message> core_;
};

} // namespace http
