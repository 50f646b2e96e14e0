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

/// The parts that the analyzers of ICAP and HTTP share: the tests that classify a parse result, and the loop that turns
/// cached bytes into messages.
namespace http {

/// Returns true if the range is a proper beginning of a method word, so that more bytes may complete the word.
using known_method_test = bool (*)(const char* begin, const char* end);

/// Classifies [begin, end) as a request head. `record` and `parsed` are the outputs of one parse of the same range,
/// with a record that was empty before the parse. After the start line has been read the result is never invalid: a
/// broken header line is partial.
[[nodiscard]] head_status request_test(const request_data& record, const parse_info& parsed, const char* begin,
                                       const char* end, known_method_test known_method) noexcept;

/// Classifies [begin, end) as a response head. `record` and `parsed` are the outputs of one parse of the same range,
/// with a record that was empty before the parse. After the version has been read the result is never invalid:
/// "ICAP/1.0 2000" is partial.
[[nodiscard]] head_status response_test(const response_data& record, const parse_info& parsed, const char* begin,
                                        const char* end) noexcept;

/// Returns true if the range is not empty, is shorter than one of the words, and equals the beginning of that word.
/// ASCII case is ignored. A whole word returns false.
[[nodiscard]] bool begins_word(const char* begin, const char* end, std::span<const std::string_view> words) noexcept;

/// Returns the first position that no line end begins at. Blanks count only as part of a line end: they are not skipped
/// on their own.
[[nodiscard]] const char* skip_line_ends(const char* begin, const char* end) noexcept;

/// Returns the first position in the range for which `status_at(position, end)` is not head_status::invalid, or `end`.
template <typename StatusAt>
[[nodiscard]] const char* find_start(const char* begin, const char* end, StatusAt&& status_at)
{
    while (begin != end && status_at(begin, end) == head_status::invalid) {
        ++begin;
    }
    return begin;
}

/// The result of one head step.
template <typename Message>
struct head_result
{
    std::unique_ptr<Message> message; ///< null if no message was made
    std::size_t count = 0; ///< bytes that are consumed: skipped, dropped, or part of `message`; 0 ends the run
    bool garbage = false;  ///< the consumed bytes are garbage and leave the cache at once
};

/// The cache and the loop of an analyzer. `Message` needs `complete()` and `append(begin, end)`, which returns the
/// count of bytes taken.
///
/// Every operation but skipped() takes the lock, which is recursive and is held while a head step or append() runs.
///
/// If a head step or append() throws, the exception passes through run(). The cache then contains what it contained
/// when run() began, without the garbage that run() dropped before the failure. A message may already have taken some
/// of these bytes; so after a failure the caller must discard the cache with drop_cached() or destroy the message.
template <typename Message>
class analyzer_core
{
public:
    /// Receives a range of dropped garbage, which is valid during the call only.
    using skipped_handler = std::function<void(const char* begin, const char* end)>;

    /// Adds bytes to the cache. Throws std::runtime_error "icap analyzer::enqueue: invalid range [beg, end)" for a
    /// reversed range, and std::out_of_range as inmemory_cache::append() does.
    void enqueue(const char* begin, const char* end);

    /// Empties the cache and returns its former contents.
    [[nodiscard]] byte_vector take_cached();
    /// Empties the cache. Allocates nothing.
    void drop_cached();
    /// Returns true if no byte waits in the cache.
    [[nodiscard]] bool empty();

    /// Sets the function that receives dropped garbage. It is called under the lock and must not call the analyzer.
    void on_skipped(skipped_handler handler);
    /// Calls the skipped handler, if there is one. The head step calls this for garbage; the lock is then already held.
    void skipped(const char* begin, const char* end);

    /// Passes cached bytes to `given`. If `given` is null, makes a message with `step` and passes the bytes that follow
    /// its head to it. Ends when the message is complete, no byte is left, `step` consumes nothing, or append() takes
    /// nothing for the second time. Returns the message that was made, null otherwise; `given` is not owned.
    ///
    /// `step(begin, end)` gets a range that is not empty and returns a head_result<Message>. A partial head is offered
    /// again from its first byte, skipped line ends included, in the next run.
    template <typename Step>
    std::unique_ptr<Message> run(Message* given, Step&& step);

private:
    std::recursive_mutex lock_;
    inmemory_cache cache_;
    skipped_handler skipped_;
};

/// Throws the exception of analyzer_core::enqueue() for a reversed range.
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
void analyzer_core<Message>::drop_cached()
{
    const std::lock_guard guard(lock_);
    cache_.clear();
}

template <typename Message>
bool analyzer_core<Message>::empty()
{
    const std::lock_guard guard(lock_);
    return cache_.empty();
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
            // A chunk line that was taken earlier may need no byte now. A second time means a store that
            // takes nothing.
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
    // A partial head remains whole, to be parsed again from its first byte when more bytes have arrived.
    if (given != nullptr || !stuck) {
        cache_.eraise(cache_.begin(), cursor);
    }
    return made;
}

} // namespace http
