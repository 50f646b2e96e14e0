#pragma once

#include "tool/http/analyzer.h"
#include "tool/http/grammar.h"
#include "tool/http/message.h"

#include <memory>
#include <string>
#include <string_view>

namespace test {

/// A record, and the text that its ranges point into.
template <typename Record>
struct parsed_text
{
    std::string text;
    Record record;
    bool hit = false;
    std::size_t length = 0; ///< position where the parse stopped
};

template <typename Record>
std::unique_ptr<parsed_text<Record>> parse(http::head_grammar<Record> grammar, std::string_view text)
{
    auto result = std::make_unique<parsed_text<Record>>();
    result->text = text;
    const char* begin = result->text.data();
    const http::parse_info info = grammar(begin, begin + result->text.size(), result->record);
    result->hit = info.hit;
    result->length = static_cast<std::size_t>(info.stop - begin);
    return result;
}

/// Returns the first message in the text, or null.
std::unique_ptr<http::message> extract_message(std::string_view text, http::support_persistent* link = nullptr,
                                               bool accept_partial = false);

std::string text_of(const http::byte_vector& bytes);
/// Returns the value of a header, or "(absent)".
std::string header_of(http::message& message, std::string_view name);
std::string stored_body(http::message& message);
/// Passes a text to message.append until all of it is taken or nothing more is. Returns the count taken.
std::size_t append_all(http::message& message, std::string_view text);

/// Stores the method of a request.
class method_link final : public http::support_persistent
{
public:
    explicit method_link(std::uint32_t method = 0)
        : method_(method)
    {}
    void set(std::uint32_t method_id) override { method_ = method_id; }
    [[nodiscard]] std::uint32_t get() const override { return method_; }

private:
    std::uint32_t method_;
};

} // namespace test
