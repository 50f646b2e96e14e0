#pragma once

#include "tool/web/io_data.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace test {

/// A body in a string, with faults that a test can switch on.
class string_data final : public web::io_data
{
public:
    explicit string_data(std::string text = {})
        : text_(std::move(text))
    {}

    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        if (raise_on_read) {
            throw std::runtime_error("the body cannot be read");
        }
        ++reads;
        if (offset >= text_.size()) {
            return 0;
        }
        count = std::min({count, text_.size() - offset, most_per_read});
        std::memcpy(destination, text_.data() + offset, count);
        return count;
    }
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override
    {
        if (raise_on_write) {
            throw std::runtime_error("the body cannot be written");
        }
        count = std::min(count, most_per_write);
        if (text_.size() < offset + count) {
            text_.resize(offset + count);
        }
        std::memcpy(text_.data() + offset, source, count);
        return count;
    }
    std::uint64_t append(const void* source, std::uint64_t count) override
    {
        return write(text_.size(), source, count);
    }
    void swap(web::io_data& other) override { text_.swap(dynamic_cast<string_data&>(other).text_); }
    void size(std::uint64_t new_size) override { text_.resize(new_size); }
    [[nodiscard]] std::uint64_t size() override { return text_.size() + phantom_bytes; }

    [[nodiscard]] const std::string& text() const noexcept { return text_; }

    bool raise_on_read = false;
    bool raise_on_write = false;
    std::uint64_t most_per_read = ~std::uint64_t{0};
    std::uint64_t most_per_write = ~std::uint64_t{0};
    std::uint64_t phantom_bytes = 0; ///< reported by size() but never returned by read()
    int reads = 0;

private:
    std::string text_;
};

} // namespace test
