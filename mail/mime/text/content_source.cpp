#include "mail/mime/text/content_source.h"

#include "mail/mime/text/quoted_printable.h"
#include "outlook/qdmailprotect/mapi/com_error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace host {

namespace {

void check(HRESULT result)
{
    if (FAILED(result)) {
        throw ComError(result);
    }
}

class com_stream final : public content_source
{
public:
    explicit com_stream(ComPtr<IStream> stream)
        : stream_(std::move(stream))
    {}
    std::size_t read(char* destination, std::size_t count) override
    {
        ULONG got = 0;
        check(stream_->Read(destination, static_cast<ULONG>(std::min<std::size_t>(count, 1U << 20U)), &got));
        return got;
    }
    void rewind() override { check(stream_->Seek({}, STREAM_SEEK_SET, nullptr)); }

private:
    ComPtr<IStream> stream_;
};

class text final : public content_source
{
public:
    explicit text(std::string bytes)
        : bytes_(std::move(bytes))
    {}
    std::size_t read(char* destination, std::size_t count) override
    {
        const std::size_t got = bytes_.copy(destination, count, position_);
        position_ += got;
        return got;
    }
    void rewind() override { position_ = 0; }

private:
    std::string bytes_;
    std::size_t position_ = 0;
};

/// Converts one content to another, block by block.
class filter : public content_source
{
public:
    explicit filter(content_ptr source)
        : source_(std::move(source))
    {}
    std::size_t read(char* destination, std::size_t count) override
    {
        while (position_ == ready_.size() && !ended_) {
            ready_.clear();
            position_ = 0;
            std::array<char, 16384> block; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the next line
            const std::size_t got = source_->read(block.data(), block.size());
            ended_ = got == 0;
            if (ended_) {
                finish(ready_);
            } else {
                convert({block.data(), got}, ready_);
            }
        }
        const std::size_t got = ready_.copy(destination, count, position_);
        position_ += got;
        return got;
    }
    void rewind() override
    {
        std::string dropped;
        finish(dropped);
        source_->rewind();
        ready_.clear();
        position_ = 0;
        ended_ = false;
    }

protected:
    virtual void convert(std::string_view block, std::string& out) = 0;
    /// Writes pending output; the next block starts a new conversion.
    virtual void finish(std::string& out) = 0;

private:
    content_ptr source_;
    std::string ready_;
    std::size_t position_ = 0;
    bool ended_ = false;
};

class quoting final : public filter
{
public:
    using filter::filter;

protected:
    void convert(std::string_view block, std::string& out) override { encoder_.append(block, out); }
    void finish(std::string& out) override { encoder_.finish(out); }

private:
    quoted_printable encoder_;
};

class utf16_to_utf8 final : public filter
{
public:
    using filter::filter;

protected:
    void convert(std::string_view block, std::string& out) override
    {
        for (const char c : block) {
            const auto byte = static_cast<unsigned char>(c);
            if (!half_unit_) {
                low_ = byte;
            } else {
                put(static_cast<std::uint32_t>(byte) << 8U | low_, out);
            }
            half_unit_ = !half_unit_;
        }
    }
    void finish(std::string& out) override
    {
        if (lead_ != 0) {
            put_code(replacement, out);
        }
        lead_ = 0;
        half_unit_ = false;
    }

private:
    static constexpr std::uint32_t replacement = 0xFFFD;

    void put(std::uint32_t unit, std::string& out)
    {
        const bool trails = unit >= 0xDC00U && unit < 0xE000U;
        if (lead_ != 0 && trails) {
            put_code(0x10000U + ((lead_ & 0x3FFU) << 10U) + (unit & 0x3FFU), out);
            lead_ = 0;
            return;
        }
        if (lead_ != 0) {
            put_code(replacement, out);
            lead_ = 0;
        }
        if (unit >= 0xD800U && unit < 0xDC00U) {
            lead_ = unit;
        } else {
            put_code(trails ? replacement : unit, out);
        }
    }
    static void put_code(std::uint32_t code, std::string& out)
    {
        const auto tail = [code](unsigned shift) { return static_cast<char>(0x80U | (code >> shift & 0x3FU)); };
        if (code < 0x80U) {
            out += static_cast<char>(code);
        } else if (code < 0x800U) {
            out += static_cast<char>(0xC0U | code >> 6U);
            out += tail(0);
        } else if (code < 0x10000U) {
            out += static_cast<char>(0xE0U | code >> 12U);
            out += tail(6);
            out += tail(0);
        } else {
            out += static_cast<char>(0xF0U | code >> 18U);
            out += tail(12);
            out += tail(6);
            out += tail(0);
        }
    }

    bool half_unit_ = false;
    std::uint32_t low_ = 0;
    std::uint32_t lead_ = 0;
};

} // namespace

content_ptr stream_content(ComPtr<IStream> stream)
{
    return std::make_unique<com_stream>(std::move(stream));
}

content_ptr text_content(std::string bytes)
{
    return std::make_unique<text>(std::move(bytes));
}

content_ptr utf8_content(content_ptr utf16le)
{
    return std::make_unique<utf16_to_utf8>(std::move(utf16le));
}

content_ptr quoted_content(content_ptr plain)
{
    return std::make_unique<quoting>(std::move(plain));
}

} // namespace host
