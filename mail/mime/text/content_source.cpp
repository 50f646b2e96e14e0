#include "mail/mime/text/content_source.h"

#include "mail/mime/text/quoted_printable.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <array>
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
                put(static_cast<char32_t>(byte) << 8U | low_, out);
            }
            half_unit_ = !half_unit_;
        }
    }
    void finish(std::string& out) override
    {
        drop_lead(out);
        half_unit_ = false;
    }

private:
    void put(char32_t unit, std::string& out)
    {
        namespace utf = winapi::utf;
        if (lead_ != 0 && utf::is_low_surrogate(unit)) {
            utf::append_utf8(out, utf::of_pair(lead_, unit));
            lead_ = 0;
            return;
        }
        drop_lead(out);
        if (utf::is_high_surrogate(unit)) {
            lead_ = unit;
        } else {
            utf::append_utf8(out, utf::is_low_surrogate(unit) ? utf::replacement_character : unit);
        }
    }
    void drop_lead(std::string& out)
    {
        if (lead_ != 0) {
            winapi::utf::append_utf8(out, winapi::utf::replacement_character);
        }
        lead_ = 0;
    }

    bool half_unit_ = false;
    char32_t low_ = 0;
    char32_t lead_ = 0; ///< a high surrogate that waits for its other half
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
