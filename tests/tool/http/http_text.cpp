#include "tests/tool/http/http_text.h"

namespace test {

std::unique_ptr<http::message> extract_message(std::string_view text, http::support_persistent* link,
                                               bool accept_partial)
{
    http::analyzer analyzer(link);
    analyzer.enqueue(text.data(), text.data() + text.size());
    return analyzer.extract(accept_partial);
}

std::string text_of(const http::byte_vector& bytes)
{
    return {bytes.begin(), bytes.end()};
}

std::string header_of(http::message& message, std::string_view name)
{
    const auto value = message.headers().get(name);
    return value ? text_of(*value) : "(absent)";
}

std::string stored_body(http::message& message)
{
    std::string body(static_cast<std::size_t>(message.body().size()), '\0');
    const auto read = message.body().read(0, body.data(), body.size());
    body.resize(static_cast<std::size_t>(read));
    return body;
}

std::size_t append_all(http::message& message, std::string_view text)
{
    std::size_t taken = 0;
    while (taken != text.size()) {
        const auto count = message.append(text.data() + taken, text.data() + text.size());
        if (count == 0) {
            break;
        }
        taken += static_cast<std::size_t>(count);
    }
    return taken;
}

} // namespace test
