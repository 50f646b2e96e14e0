#include "tests/tool/icap/icap_text.h"

#include "tool/system/conversions.h"
#include "tool/web/io_data.h"

namespace test {
namespace {

std::vector<std::string> with_start(std::string start, const std::vector<std::string>& lines)
{
    std::vector<std::string> all{std::move(start)};
    all.insert(all.end(), lines.begin(), lines.end());
    return all;
}

} // namespace

std::string chunk(std::string_view payload)
{
    std::string text = winapi::to_hex(payload.size());
    text += "\r\n";
    text += payload;
    text += "\r\n";
    return text;
}

std::string head(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line;
        text += "\r\n";
    }
    text += "\r\n";
    return text;
}

std::string reqmod(const std::vector<std::string>& lines)
{
    return head(with_start("REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0", lines));
}

std::string respmod(const std::vector<std::string>& lines)
{
    return head(with_start("RESPMOD icap://127.0.0.1:1344/webscan ICAP/1.0", lines));
}

std::string reply(int status, const std::vector<std::string>& lines)
{
    return head(with_start("ICAP/1.0 " + std::to_string(status) + " Words", lines));
}

std::string encapsulated(const std::string& request_head, const std::string& response_head, const std::string& end)
{
    std::string text = "Encapsulated: ";
    std::size_t offset = 0;
    if (!request_head.empty()) {
        text += "req-hdr=0, ";
        offset += request_head.size();
    }
    if (!response_head.empty()) {
        text += "res-hdr=" + std::to_string(offset) + ", ";
        offset += response_head.size();
    }
    text += end + "=" + std::to_string(offset);
    return text;
}

std::string mail_request(const std::string& body)
{
    const std::string post =
        head({"POST http://check_mail?tag=7 HTTP/1.1", "Content-Length: " + std::to_string(body.size())});
    std::string text = reqmod({"Host: 127.0.0.1", "Allow: 204", encapsulated(post, "", "req-body")});
    text += post;
    if (!body.empty()) {
        text += chunk(body);
    }
    text += last_chunk;
    return text;
}

std::string page_reply(int status, const std::string& body, const std::vector<std::string>& lines)
{
    const std::string page =
        head({"HTTP/1.1 200 OK", "Content-Type: text/html", "Content-Length: " + std::to_string(body.size())});
    std::vector<std::string> all{"ISTag: \"tag\""};
    all.insert(all.end(), lines.begin(), lines.end());
    all.push_back(encapsulated("", page, "res-body"));
    std::string text = reply(status, all);
    text += page;
    if (!body.empty()) {
        text += chunk(body);
    }
    text += last_chunk;
    return text;
}

std::string pattern(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    }
    return text;
}

std::unique_ptr<icap::message> extract(std::string_view text)
{
    icap::analyzer analyzer;
    analyzer.enqueue(text.data(), text.data() + text.size());
    return analyzer.extract();
}

std::unique_ptr<http::message> http_message(std::string_view text)
{
    http::analyzer analyzer;
    analyzer.enqueue(text.data(), text.data() + text.size());
    return analyzer.extract();
}

std::uint64_t append(icap::message& message, std::string_view bytes)
{
    return message.append(bytes.data(), bytes.data() + bytes.size());
}

void feed(icap::analyzer& analyzer, std::unique_ptr<icap::message>& message, std::string_view piece)
{
    analyzer.enqueue(piece.data(), piece.data() + piece.size());
    if (message) {
        analyzer.feed(*message);
    } else {
        message = analyzer.extract();
    }
}

std::string text_of(const http::byte_vector& bytes)
{
    return {bytes.begin(), bytes.end()};
}

std::string body_of(http::message& message)
{
    std::string text(static_cast<std::size_t>(message.body().size()), '\0');
    const std::uint64_t count = message.body().read(0, text.data(), text.size());
    text.resize(static_cast<std::size_t>(count));
    return text;
}

std::vector<std::string> pieces_of(icap::message& message)
{
    const std::unique_ptr<icap::packet_reader> reader = message.reader();
    http::byte_vector bytes;
    icap::packet piece{&bytes, 0};
    std::vector<std::string> pieces;
    while (reader->read(piece)) {
        pieces.emplace_back(bytes.data(), piece.count);
    }
    return pieces;
}

std::string wire_of(icap::message& message)
{
    std::string text;
    for (const std::string& piece : pieces_of(message)) {
        text += piece;
    }
    return text;
}

std::string header_of(icap::message& message, std::string_view name)
{
    const auto value = message.headers().get(name);
    return value ? text_of(*value) : std::string("(absent)");
}

} // namespace test
