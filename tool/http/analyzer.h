#pragma once

#include "tool/http/analyzer_core.h"
#include "tool/http/message.h"

#include <cstdint>
#include <memory>

namespace http {

/// Links a response to the method of its request.
class support_persistent
{
public:
    virtual void set(std::uint32_t method_id) = 0;
    [[nodiscard]] virtual std::uint32_t get() const = 0;
    virtual ~support_persistent() = default;
};

/// Turns bytes, arriving in pieces of any size, into HTTP messages. At most 16640 bytes wait at a time, which bounds a
/// head. Locks as told for analyzer_core; the link is not locked.
class analyzer
{
public:
    using skipped_handler = analyzer_core<message>::skipped_handler;

    /// `link` is not owned and may be null; it outlives the analyzer or is replaced.
    explicit analyzer(support_persistent* link = nullptr);
    analyzer(const analyzer&) = delete;
    analyzer& operator=(const analyzer&) = delete;

    /// Skips leading line ends and tells what the bytes are as a request; an unusual method counts when its id is
    /// known.
    [[nodiscard]] virtual head_status classify(const char* begin, const char* end);
    /// Passes cached bytes to a message that exists already, until it is complete or the cache is empty.
    virtual void feed(message& message);
    /// Makes the next message from the cache, with as much of its body as there is; empty when no whole head is there.
    /// `accept_partial` takes a response whose head has not ended yet but has a header.
    [[nodiscard]] virtual std::unique_ptr<message> extract(bool accept_partial = false);
    virtual ~analyzer();
    /// A new analyzer with the same link.
    [[nodiscard]] virtual std::unique_ptr<analyzer> create();
    /// Replaces the link and returns the old one.
    virtual support_persistent* set_tracker(support_persistent* link);

    /// As analyzer_core.
    void enqueue(const char* begin, const char* end) { core_.enqueue(begin, end); }
    [[nodiscard]] byte_vector take_cached() { return core_.take_cached(); }
    void on_skipped(skipped_handler handler) { core_.on_skipped(std::move(handler)); }

private:
    head_result<message> head_step(const char* begin, const char* end, bool accept_partial);

    support_persistent* link_;
    analyzer_core<message> core_;
};

} // namespace http
