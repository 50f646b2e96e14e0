#include "logging/logging.h"
#include "tool/asyncio/buffer.h"
#include "tool/asyncio/prompt_wait.h"
#include "tool/http/message.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/request_message.h"
#include "tool/icap_client/request_templates.h"
#include "tool/icap_client/session_impl.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

// Writes requests to the wire and blocks until the answer was processed: one attempt, no retries.

namespace icap::client {

namespace {

constexpr std::size_t mail_block = 4096;
constexpr std::uint32_t object_block = 8192;
constexpr std::size_t object_buffer = 8200; // the largest block, its size line, and the line end behind it
constexpr std::size_t http_block = 4096;
constexpr std::size_t gathered_size = 65536; // what shares a system call: packets on the wire, blocks into the store
constexpr std::string_view line_end = "\r\n";
constexpr std::string_view last_chunk = "0\r\n\r\n";
constexpr const char* request_timeout = "send request timeout occured";
constexpr const char* continue_timeout = "send_respmod_continue(): timeout occured";

web::io_data& data_of(const std::shared_ptr<web::io_data>& data)
{
    if (!data) {
        throw std::invalid_argument("scan without a data object");
    }
    return *data;
}

http::message& message_of(http::message* message)
{
    if (message == nullptr) {
        throw std::invalid_argument("scan without a message");
    }
    return *message;
}

void append(icap::message& message, std::string_view bytes)
{
    message.append(bytes.data(), bytes.data() + bytes.size());
}

void append_chunk(icap::message& message, std::string_view bytes)
{
    append(message, winapi::to_hex(bytes.size()));
    append(message, line_end);
    append(message, bytes);
    append(message, line_end);
}

/// Passes the body to the message. It is read in blocks of 4096 bytes, of which several make one chunk, so that their
/// store is written to less often. A body that ends before its size was reached completes the message early, and the
/// next chunk is then refused.
void append_body(icap::message& message, web::io_data& data)
{
    const std::uint64_t size = data.size();
    std::vector<char> chunk(static_cast<std::size_t>(std::min<std::uint64_t>(size, gathered_size)));
    std::size_t used = 0;
    for (std::uint64_t offset = 0; offset != size;) {
        const std::uint64_t asked = std::min<std::uint64_t>(mail_block, size - offset);
        const std::uint64_t count = std::min(asked, data.read(offset, chunk.data() + used, asked));
        offset += count;
        used += static_cast<std::size_t>(count);
        const bool full = chunk.size() - used < std::min<std::uint64_t>(mail_block, size - offset);
        if (used != 0 && (full || count == 0 || offset == size)) {
            append_chunk(message, {chunk.data(), used});
            used = 0;
        }
        if (count == 0) {
            append_chunk(message, {});
        }
    }
}

/// Builds one chunk of the continue phase in `chunk`, with `size` bytes of `data` from `offset`.
std::string_view object_chunk(tpl::buffer& chunk, web::io_data& data, std::uint64_t offset, std::uint32_t size)
{
    const std::string digits = winapi::to_hex(size);
    if (size + 2 * line_end.size() + digits.size() > chunk.size()) {
        throw std::runtime_error("send_respmod_continue(): packet size greater than max buffer size");
    }
    char* position = std::copy(digits.begin(), digits.end(), chunk.begin());
    position = std::copy(line_end.begin(), line_end.end(), position);
    if (size > static_cast<std::size_t>(chunk.end() - position)) {
        throw std::runtime_error("send_respmod_continue(): buffer overflow 1");
    }
    if (data.read(offset, position, size) != size) {
        throw std::runtime_error("send_respmod_continue(): read bytes not equal requested bytes");
    }
    position += size;
    if (line_end.size() > static_cast<std::size_t>(chunk.end() - position)) {
        throw std::runtime_error("send_respmod_continue(): buffer overflow 2");
    }
    position = std::copy(line_end.begin(), line_end.end(), position);
    return {chunk.begin(), static_cast<std::size_t>(position - chunk.begin())};
}

} // namespace

void session_impl::write(std::string_view bytes)
{
    // If the connection breaks during the write, no answer arrives, and the wait for it reports the failure.
    std::uint32_t ignored = 0;
    socket_.write(bytes.data(), bytes.data() + bytes.size(), ignored);
}

/// Called ahead of the first byte of a request. From here on one answer is expected, even before the request is out.
void session_impl::begin_request(awaited what)
{
    {
        const std::lock_guard guard(answer_lock_);
        static_cast<void>(reply_event_.wait(0)); // a signal that an interrupted scan has not consumed
        continued_ = false;
        awaited_ = broken_ ? awaited::nothing : what;
        processor_.begin_request();
    }
    if (broken_) {
        require_reply(reply::error, nullptr);
    }
}

/// Called ahead of the rest of a request. If the service has asked for it, its answer is expected already.
void session_impl::begin_rest()
{
    if (!continued_) {
        begin_request(awaited::verdict);
    }
}

session_impl::reply session_impl::wait_for_reply(std::uint32_t timeout)
{
    // One signal may stand for two answers: the request for the rest, and a verdict directly behind it.
    const bool is_here = continued_ && (answered_ || error_);
    if (!is_here && tpl::process_prompt_wait().wait(reply_event_, timeout) == tpl::wait_result::timeout) {
        const std::lock_guard guard(answer_lock_);
        awaited_ = awaited::nothing;
        error_ = true;
        return reply::timeout;
    }
    return error_ ? reply::error : reply::answered;
}

void session_impl::require_reply(reply got, const char* timeout_text)
{
    if (got == reply::timeout) {
        throw std::runtime_error(timeout_text);
    }
    if (got == reply::error) {
        throw std::runtime_error("request failed: server reply with error");
    }
}

void session_impl::send_request_and_wait(std::string_view request, std::uint32_t timeout, awaited what)
{
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") send request and wait reply");
    begin_request(what);
    write(request);
    require_reply(wait_for_reply(timeout), request_timeout);
}

void session_impl::send_message_and_wait(icap::request_message& message, std::uint32_t timeout)
{
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") send msg and wait reply ");
    const auto reader = message.reader();
    http::byte_vector bytes;
    begin_request(awaited::verdict);
    while (reader->gather(bytes, gathered_size)) {
        write({bytes.data(), bytes.size()});
        bytes.clear();
    }
    require_reply(wait_for_reply(timeout), request_timeout);
}

void session_impl::send_options()
{
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") send OPTIONS request");
    send_request_and_wait(build_options_request(local_address_, target_), timing_.options_answer);
}

bool session_impl::send_health(const scan_health& parameters)
{
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send REQMOD request (preview) health '" << parameters.health << "'");
    send_request_and_wait(build_health_request(local_address_, local_address_, target_, parameters),
                          parameters.timeout);
    return result_ != ScanResult::Clean;
}

bool session_impl::send_certificate(const scan_certificate& parameters)
{
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send REQMOD request (preview) certificate '"
                        << winapi::conv_to_char(parameters.certificate_name) << "'");
    send_request_and_wait(build_certificate_request(local_address_, local_address_, target_, parameters),
                          parameters.timeout);
    return result_ != ScanResult::Clean;
}

ScanResult session_impl::send_certificate_continue(const scan_certificate& /*parameters*/)
{
    throw std::runtime_error("reqmod to check certificate is Not implemeted");
}

bool session_impl::send_mail(const scan_mail& parameters)
{
    web::io_data& data = data_of(parameters.data);
    const std::string head = build_mail_request(local_address_, local_address_, target_, parameters);
    icap::analyzer analyzer;
    analyzer.enqueue(head.data(), head.data() + head.size());
    const std::unique_ptr<icap::message> extracted = analyzer.extract();
    auto* const message = dynamic_cast<icap::request_message*>(extracted.get());
    if (message == nullptr) {
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") REQMOD request mail '" << parameters.subject
                            << "': could not create empty request for mail");
        throw std::runtime_error("could not create empty request for mail");
    }
    append_body(*message, data);
    append(*message, last_chunk);
    if (!message->complete()) {
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") REQMOD request mail '" << parameters.subject
                            << "': could not create empty request for mail: message does not complete");
        throw std::runtime_error("could not create empty request for mail: message does not complete");
    }
    send_message_and_wait(*message, parameters.timeout);
    return result_ != ScanResult::Clean;
}

bool session_impl::send_reqmod_preview(const scan_http_request& parameters)
{
    http::message& request = message_of(parameters.request);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send REQMOD request (preview) msgId=0x" << winapi::to_hex(request.id()));
    const preview head = read_preview(request);
    send_request_and_wait(build_reqmod_preview(local_address_, local_address_, target_, parameters, head.bytes()),
                          parameters.timeout, awaited::preview);
    return continued_ || result_ != ScanResult::Clean;
}

bool session_impl::send_respmod_preview(const scan_http_response& parameters)
{
    message_of(parameters.request);
    http::message& response = message_of(parameters.response);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send RESPMOD request (preview) msgId=0x" << winapi::to_hex(response.id()));
    const preview head = read_preview(response);
    send_request_and_wait(build_respmod_preview(local_address_, local_address_, target_, parameters, head.bytes()),
                          parameters.timeout, awaited::preview);
    return continued_ || result_ != ScanResult::Clean;
}

preview session_impl::read_preview(http::message& message)
{
    preview head(preview_size_);
    if (!head.empty()) {
        head.fill(message.body());
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") read " << head.size() << "bytes from msgId=0x"
                            << winapi::to_hex(message.id()));
    }
    return head;
}

bool session_impl::send_object_preview(const scan_object& parameters)
{
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send RESPMOD request (preview) '" << parameters.object_name << "'");
    preview head(preview_size_);
    if (!head.empty()) {
        head.fill(*parameters.data);
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") read " << head.size() << "bytes from object '" << parameters.object_name
                            << "'");
    }
    const auto size = static_cast<std::uint32_t>(parameters.data->size());
    send_request_and_wait(
        build_object_preview(local_address_, local_address_, target_, parameters.object_name, size, head.bytes()),
        parameters.timeout, awaited::preview);
    return continued_ || result_ != ScanResult::Clean;
}

ScanResult session_impl::send_object_continue(const scan_object& parameters)
{
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send RESPMOD request (continue) '" << parameters.object_name << "'");
    tpl::buffer buffer(object_buffer);
    begin_rest();
    const std::uint32_t previewed = preview_size_;
    std::uint64_t offset = previewed;
    // In 32 bits: an object shorter than its preview wraps, and the first read behind its end then returns too few
    // bytes.
    std::uint32_t remaining = static_cast<std::uint32_t>(parameters.data->size()) - previewed;
    while (remaining != 0) {
        const std::uint32_t block = std::min(remaining, object_block);
        const std::string_view chunk = object_chunk(buffer, *parameters.data, offset, block);
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") send REQMOD request (preview) '" << parameters.object_name << "'");
        write(chunk);
        remaining -= block;
        offset += block;
    }
    write(last_chunk);
    require_reply(wait_for_reply(parameters.timeout), continue_timeout);
    return result_;
}

ScanResult session_impl::send_reqmod_continue(const scan_http_request& parameters)
{
    return send_http_continue(*parameters.request, "REQMOD", parameters.timeout);
}

ScanResult session_impl::send_respmod_continue(const scan_http_response& parameters)
{
    return send_http_continue(*parameters.response, "RESPMOD", parameters.timeout);
}

void session_impl::send_http_chunks(http::message& message, std::string_view method)
{
    const std::string id = winapi::to_hex(message.id());
    http::byte_vector bytes;
    bytes.reserve(http_block);
    http::read_span span;
    const std::uint64_t previewed = preview_size_;
    span.offset = message.raw_head().size() + previewed;
    std::string chunk;
    const auto send_chunk = [&](std::string_view text) {
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") send " << method << " request (preview) msgId=0x" << id);
        write(text);
    };
    span.length = http_block;
    // A message that ends within its preview has nothing left and must not be read beyond its end.
    const bool more = previewed <= message.body_size();
    while (more && message.read(&span, bytes)) {
        chunk.assign(winapi::to_hex(bytes.size())).append(line_end);
        chunk.append(bytes.data(), bytes.size()).append(line_end);
        send_chunk(chunk);
        span.length = http_block;
    }
    send_chunk(last_chunk);
}

ScanResult session_impl::send_http_continue(http::message& message, std::string_view method, std::uint32_t timeout)
{
    const std::string id = winapi::to_hex(message.id());
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") send " << method << " request (continue) msgId=0x" << id);
    begin_rest();
    send_http_chunks(message, method);
    const reply got = wait_for_reply(timeout);
    if (got != reply::answered) {
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") send " << method << " request (continue) msgId=0x" << id
                            << (got == reply::timeout ? ": timeout occured" : ": server reply with error"));
    }
    require_reply(got, continue_timeout);
    return result_;
}

} // namespace icap::client
