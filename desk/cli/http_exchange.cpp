#include "desk/cli/http_exchange.h"

#include "tool/http/analyzer.h"

#include <array>
#include <stdexcept>

namespace host {

namespace {

/// Keeps the method of the request for parsing the response that follows it.
class method_link final : public http::support_persistent
{
public:
    void set(std::uint32_t method_id) override { method_ = method_id; }
    [[nodiscard]] std::uint32_t get() const override { return method_; }

private:
    std::uint32_t method_ = 0;
};

/// Reads the messages of one text in order.
class http_reader
{
public:
    explicit http_reader(const bytes& text)
        : text_(text)
        , analyzer_(&link_)
    {}

    /// Returns the next message with its whole body. A body without a specified length ends with the text.
    std::unique_ptr<http::message> next(std::uint32_t type, const char* missing)
    {
        std::unique_ptr<http::message> found = analyzer_.extract();
        while (!found && enqueue()) {
            found = analyzer_.extract();
        }
        if (!found || found->type() != type) {
            throw std::runtime_error(missing);
        }
        while (!found->complete() && enqueue()) {
            analyzer_.feed(*found);
        }
        return found;
    }

private:
    /// Passes on a piece that is much smaller than the capacity of the analyzer. Returns false at the end of the text.
    bool enqueue()
    {
        std::array<char, 4096> block{};
        const std::size_t got = text_.read(offset_, block.data(), block.size());
        analyzer_.enqueue(block.data(), block.data() + got);
        offset_ += got;
        return got != 0;
    }

    const bytes& text_;
    std::uint64_t offset_ = 0;
    method_link link_;
    http::analyzer analyzer_;
};

} // namespace

http_exchange read_http(const bytes& text, bool with_response)
{
    http_reader reader(text);
    http_exchange result;
    result.request = reader.next(http::type_request, "there is no HTTP request at its beginning");
    if (with_response) {
        result.response = reader.next(http::type_response, "there is no HTTP response behind the request");
    }
    return result;
}

} // namespace host
