#pragma once

#include "tool/http/grammar.h"
#include "tool/http/head_records.h"
#include "tool/http/inmemory_cache.h"
#include "tool/http/message_headers.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>

/// What the analyzers of ICAP and HTTP have in common: the tests that tell what a parse result means, and the loop
/// that turns cached bytes into messages.
namespace http {

/// True when the bytes may yet become a method word.
using known_method_test = bool (*)(const char* begin, const char* end);

/// What `begin` to `end` is as a request, after the parse whose record and result are given. Once the start line has
/// been read nothing is invalid any more: a broken header line is partial.
[[nodiscard]] head_status request_test(const request_data& record, const parse_info& parsed, const char* begin,
                                       const char* end, known_method_test known_method) noexcept;

/// What `begin` to `end` is as a response, after the parse whose record and result are given.
[[nodiscard]] head_status response_test(const response_data& record, const parse_info& parsed, const char* begin,
                                        const char* end) noexcept;

/// True when the range is not empty, shorter than one of the words and equal to its beginning, case ignored.
[[nodiscard]] bool begins_word(const char* begin, const char* end, std::span<const std::string_view> words) noexcept;

/// The place behind all line ends that stand at `begin`.
[[nodiscard]] const char* skip_line_ends(const char* begin, const char* end) noexcept;

/// The first place in the range for which `status_at(place, end)` is not head_status::invalid, or `end`.
template <typename StatusAt>
[[nodiscard]] const char* find_start(const char* begin, const char* end, StatusAt&& status_at)
{
    while (begin != end && status_at(begin, end) == head_status::invalid) {
        ++begin;
    }
    return begin;
}

/// What one head step did.
template <typename Message>
struct head_result
{
    std::unique_ptr<Message> message; ///< empty when no message was made
    std::size_t count = 0;            ///< bytes that are done with
    bool garbage = false;             ///< those bytes are dropped garbage
};

/// Cache and loop of an analyzer. Every operation takes the lock, which is held while a head step or a message's
/// append() runs. An exception from either leaves the cache as it was when that step began.
template <typename Message>
class analyzer_core
{
public:
    using skipped_handler = std::function<void(const char* begin, const char* end)>;

    /// Adds bytes to the cache. Raises std::runtime_error "icap analyzer::enqueue: invalid range [beg, end)" for a
    /// reversed range and std::out_of_range of the cache.
    void enqueue(const char* begin, const char* end);

    /// Empties the cache and returns what it held.
    [[nodiscard]] byte_vector take_cached();

    /// Sets what is told of dropped garbage; called under the lock.
    void on_skipped(skipped_handler handler);
    /// Tells of dropped garbage; called by the head step.
    void skipped(const char* begin, const char* end);

    /// Hands cached bytes to `given`, or makes a message with `step` where `given` is null and hands the bytes that
    /// follow its head to it, until the message is complete or no byte is left. Returns the message that was made.
    /// `step(begin, end)` returns a head_result<Message>.
    template <typename Step>
    std::unique_ptr<Message> run(Message* given, Step&& step);

private:
    std::recursive_mutex lock_;
    inmemory_cache cache_;
    skipped_handler skipped_;
};

/// The text of a reversed range, raised by analyzer_core::enqueue.
[[noreturn]] void raise_reversed_enqueue();

template <typename Message>
void analyzer_core<Message>::enqueue(const char* begin, const char* end)
{
    const std::lock_guard guard(lock_);
    if (begin > end) {
        raise_reversed_enqueue();
    }
    cache_.append(begin, end);
}

template <typename Message>
byte_vector analyzer_core<Message>::take_cached()
{
    const std::lock_guard guard(lock_);
    byte_vector taken(cache_.begin(), cache_.end());
    cache_.eraise(cache_.begin(), cache_.end());
    return taken;
}

template <typename Message>
void analyzer_core<Message>::on_skipped(skipped_handler handler)
{
    const std::lock_guard guard(lock_);
    skipped_ = std::move(handler);
}

template <typename Message>
void analyzer_core<Message>::skipped(const char* begin, const char* end)
{
    if (skipped_) {
        skipped_(begin, end);
    }
}

template <typename Message>
template <typename Step>
std::unique_ptr<Message> analyzer_core<Message>::run(Message* given, Step&& step)
{
    const std::lock_guard guard(lock_);
    if (cache_.empty()) {
        return nullptr;
    }
    std::unique_ptr<Message> made;
    bool done = given != nullptr && given->complete();
    bool stuck = false;
    bool idle = false;
    const char* cursor = cache_.begin();
    while (!done && !stuck && cursor != cache_.end()) {
        if (given != nullptr) {
            const auto taken = given->append(cursor, cache_.end());
            cursor += taken;
            done = given->complete();
            // A chunk line that was taken earlier may need no byte now; twice nothing means a store that stands still.
            if (taken == 0 && !done && std::exchange(idle, true)) {
                break;
            }
            continue;
        }
        head_result<Message> result = step(cursor, cache_.end());
        cursor += result.count;
        if (result.message) {
            made = std::move(result.message);
            given = made.get();
            continue;
        }
        stuck = result.count == 0;
        if (result.garbage) {
            cache_.eraise(cache_.begin(), cursor);
            cursor = cache_.begin();
        }
    }
    // A partial head stays whole, to be parsed again from its first byte when more has come.
    if (given != nullptr || !stuck) {
        cache_.eraise(cache_.begin(), cursor);
    }
    return made;
}

} // namespace http
