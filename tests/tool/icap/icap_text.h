#pragma once

#include "tool/http/analyzer.h"
#include "tool/http/message.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/message.h"
#include "tool/icap/request_message.h"
#include "tool/icap/response_message.h"

#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

/// Texts of messages, and helper functions that read and write them.
namespace test {

/// A chunk of the ICAP framing.
std::string chunk(std::string_view payload);
/// The end mark.
inline const std::string last_chunk = "0\r\n\r\n";

/// Start line and headers, each line without its end; the blank line is added.
std::string head(const std::vector<std::string>& lines);

/// Returns the text "REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0" with those further lines.
std::string reqmod(const std::vector<std::string>& lines);
std::string respmod(const std::vector<std::string>& lines);
/// Returns the text "ICAP/1.0 STATUS Words" with those further lines.
std::string reply(int status, const std::vector<std::string>& lines);

/// Returns "Encapsulated: " and the offsets of a message with these heads; `end` is the name of the last entry.
std::string encapsulated(const std::string& request_head, const std::string& response_head, const std::string& end);

/// Returns a whole request with `body`, written as one chunk.
std::string mail_request(const std::string& body);
/// Returns a whole response that contains an HTTP response with `body`.
std::string page_reply(int status, const std::string& body, const std::vector<std::string>& lines = {});

/// Returns bytes that differ by their position.
std::string pattern(std::size_t size);

/// Returns the message that an analyzer makes of the text, given as one piece.
std::unique_ptr<icap::message> extract(std::string_view text);

template <class Message>
std::unique_ptr<Message> extract_as(std::string_view text)
{
    std::unique_ptr<icap::message> made = extract(text);
    if (dynamic_cast<Message*>(made.get()) == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<Message>(static_cast<Message*>(made.release()));
}

inline std::unique_ptr<icap::request_message> extract_request(std::string_view text)
{
    return extract_as<icap::request_message>(text);
}
inline std::unique_ptr<icap::response_message> extract_reply(std::string_view text)
{
    return extract_as<icap::response_message>(text);
}

/// Returns the HTTP message of that text.
std::unique_ptr<http::message> http_message(std::string_view text);

std::uint64_t append(icap::message& message, std::string_view bytes);
/// Enqueues the piece, then extracts the message or continues to fill it, as a session does with each read.
void feed(icap::analyzer& analyzer, std::unique_ptr<icap::message>& message, std::string_view piece);

std::string text_of(const http::byte_vector& bytes);
/// Returns the payload of an HTTP message.
std::string body_of(http::message& message);
/// Returns the pieces that the message's reader yields.
std::vector<std::string> pieces_of(icap::message& message);
std::string wire_of(icap::message& message);
std::string header_of(icap::message& message, std::string_view name);

/// Returns the text of the exception of exactly this type that `call` throws; otherwise a description of what happened
/// instead.
template <class Exception, class Call>
std::string raised(Call call)
{
    try {
        call();
    } catch (const std::exception& failure) {
        if (typeid(failure) == typeid(Exception)) {
            return failure.what();
        }
        return std::string("of another type: ") + failure.what();
    }
    return "nothing raised";
}

} // namespace test
