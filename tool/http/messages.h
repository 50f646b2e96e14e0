#pragma once

#include "tool/http/chunk_decoder.h"
#include "tool/http/head_records.h"
#include "tool/http/header_table.h"
#include "tool/http/message.h"

#include <boost/core/noncopyable.hpp>

#include <cstdint>
#include <memory>
#include <mutex>

namespace http {

/// A content length that is not known: all ones in the low 32 bits. It also limits the body of such a message to this
/// size.
inline constexpr std::uint64_t unknown_length = 0xFFFFFFFFU;

/// The part that requests and responses share. The lock protects the head, the store, the header table and the
/// attachment.
class generic_message : public message, public message2, private boost::noncopyable
{
public:
    void set_id(std::uint32_t id) override { id_ = id; }
    [[nodiscard]] std::uint32_t id() const override { return id_; }
    /// Returns true if the size of the store equals the content length. With an unknown length this is not the case
    /// until the store reaches its limit of unknown_length bytes.
    [[nodiscard]] bool complete() override;
    [[nodiscard]] web::io_data& body() override { return *body_; }
    [[nodiscard]] const byte_vector& raw_head() const override { return raw_head_; }
    bool read(read_span* span, byte_vector& out) override;
    void set_body(std::unique_ptr<web::io_data> store) override;
    [[nodiscard]] std::uint32_t created() const override { return created_; }
    [[nodiscard]] std::uint64_t body_size() override;
    [[nodiscard]] std::uint64_t total_size() override;
    std::uint64_t append(const char* begin, const char* end) override;
    [[nodiscard]] bool flag() const override { return flag_; }
    void flag(bool value) override { flag_ = value; }
    void update_length() override;
    void attach(std::shared_ptr<void> attachment) override;
    [[nodiscard]] std::shared_ptr<void> attachment() override;

    /// As append().
    std::uint64_t input(const char* begin, const char* end) override { return append(begin, end); }
    /// Does nothing, because completeness depends on sizes only.
    void set_completed(bool) override {}

    /// Returns the length of the body in bytes as the head specifies it, or unknown_length.
    [[nodiscard]] std::uint64_t content_length() const noexcept { return content_length_; }
    /// Makes the length unknown and sets the flag: the length of the body follows from chunked framing.
    void mark_chunked();

protected:
    /// Takes ownership of head and store. `body` must not be null.
    generic_message(byte_vector raw_head, std::uint64_t content_length, std::unique_ptr<web::io_data> body);

    std::recursive_mutex lock_;
    /// The text of the head. The ranges of the derived class's record point into it.
    byte_vector raw_head_;

private:
    friend class chunked_message; // reads head and store under the lock for the text of a chunked sender

    std::uint32_t id_ = 0;
    std::uint64_t content_length_;
    std::uint32_t created_;
    std::unique_ptr<web::io_data> body_;
    bool flag_ = false;
    std::shared_ptr<void> attachment_;
};

/// An HTTP request. Usually made by http::analyzer.
class request_message final : public generic_message, public message_headers_impl<request_data>
{
public:
    /// The ranges of `record` must point into the buffer of `raw_head`, which is moved and not copied. `content_length`
    /// is in bytes. `body` must not be null.
    request_message(byte_vector raw_head, const request_data& record, std::uint64_t content_length,
                    std::unique_ptr<web::io_data> body);

    [[nodiscard]] std::uint32_t type() const override { return type_request; }
    [[nodiscard]] std::uint32_t content_kind() override { return 0; }
    [[nodiscard]] std::uint32_t encoding_kind() override { return 0; }
    [[nodiscard]] content_range_data content_range() override { return {}; }
    void accept(message_handler& handler, void* argument) override;
    [[nodiscard]] message_headers& headers() override { return *this; }
    /// Returns the parsed head. Its ranges become invalid with any change of a header.
    [[nodiscard]] const request_data& record() const noexcept { return record_; }

private:
    request_data record_;
};

/// An HTTP response. Usually made by http::analyzer.
class response_message final : public generic_message, public message_headers_impl<response_data>
{
public:
    /// As for requests. `request_method` is the method_id of the request that this response answers, 0 if unknown.
    response_message(byte_vector raw_head, const response_data& record, std::uint64_t content_length,
                     std::unique_ptr<web::io_data> body, std::uint32_t request_method);

    [[nodiscard]] std::uint32_t type() const override { return type_response; }
    [[nodiscard]] std::uint32_t content_kind() override;
    [[nodiscard]] std::uint32_t encoding_kind() override;
    [[nodiscard]] content_range_data content_range() override;
    void accept(message_handler& handler, void* argument) override;
    [[nodiscard]] message_headers& headers() override { return *this; }
    /// Returns the parsed head. Its ranges become invalid with any change of a header.
    [[nodiscard]] const response_data& record() const noexcept { return record_; }
    [[nodiscard]] std::uint32_t status() const noexcept { return record_.status; }
    /// Returns the method_id of the request that this response answers, 0 if unknown.
    [[nodiscard]] std::uint32_t request_method() const noexcept { return request_method_; }

private:
    response_data record_;
    std::uint32_t request_method_;
};

/// A message whose body arrives in HTTP's chunked framing through append(), or without framing through input(). It
/// wraps the message that keeps head and payload; operations without a comment here are forwarded to that message.
/// body() contains the payload only.
class chunked_message final : public message, public message2, private boost::noncopyable
{
public:
    /// Takes ownership of `inner`, which must not be null, makes its length unknown and sets its flag.
    explicit chunked_message(std::unique_ptr<generic_message> inner);

    void set_id(std::uint32_t id) override { inner_->set_id(id); }
    [[nodiscard]] std::uint32_t id() const override { return inner_->id(); }
    [[nodiscard]] std::uint32_t type() const override { return inner_->type(); }
    /// Returns true if the last chunk has been read or set_completed(true) was called.
    [[nodiscard]] bool complete() override;
    [[nodiscard]] std::uint32_t content_kind() override { return inner_->content_kind(); }
    [[nodiscard]] std::uint32_t encoding_kind() override { return inner_->encoding_kind(); }
    [[nodiscard]] content_range_data content_range() override { return inner_->content_range(); }
    [[nodiscard]] web::io_data& body() override { return inner_->body(); }
    [[nodiscard]] const byte_vector& raw_head() const override { return inner_->raw_head(); }
    /// The text is that of a chunked sender: head, the whole payload as one chunk, the end mark, trailers. Without a
    /// span, the end mark has its own blank line ahead of the trailers, and a further line end if there are no
    /// trailers.
    bool read(read_span* span, byte_vector& out) override;
    void set_body(std::unique_ptr<web::io_data> store) override { inner_->set_body(std::move(store)); }
    [[nodiscard]] std::uint32_t created() const override { return inner_->created(); }
    void accept(message_handler& handler, void* argument) override { inner_->accept(handler, argument); }
    [[nodiscard]] std::uint64_t body_size() override { return inner_->body_size(); }
    [[nodiscard]] std::uint64_t total_size() override { return inner_->total_size(); }
    /// Takes bytes with HTTP's chunked framing and returns the count taken. One call ends at the latest at the end of a
    /// chunk's payload; the caller offers the rest again. A chunk of size 0 completes the message, even if its trailers
    /// are not recognised; a size of 0xFFFFFFFF is ignored. Throws std::runtime_error as http_message_body::append()
    /// does.
    std::uint64_t append(const char* begin, const char* end) override;
    [[nodiscard]] message_headers& headers() override { return inner_->headers(); }
    /// The flag of this object; that of the wrapped message is separate, as is its attachment.
    [[nodiscard]] bool flag() const override { return flag_; }
    void flag(bool value) override { flag_ = value; }
    /// Does nothing, even if the head has a Content-Length. set_body() does update that header.
    void update_length() override {}
    void attach(std::shared_ptr<void> attachment) override;
    [[nodiscard]] std::shared_ptr<void> attachment() override;

    /// Takes payload and records it as one finished chunk. Returns the length of the range without storing it if the
    /// range is empty or the message is complete.
    std::uint64_t input(const char* begin, const char* end) override;
    /// Sets whether the message is complete.
    void set_completed(bool completed) override;

    /// Returns the wrapped message, which this object owns.
    [[nodiscard]] generic_message& inner() noexcept { return *inner_; }
    /// Returns the chunks received so far, without the last chunk. Not protected by the lock.
    [[nodiscard]] const chunk_list& chunks() const noexcept { return decoder_.chunks(); }

private:
    std::unique_ptr<generic_message> inner_;
    chunk_decoder decoder_;
    std::recursive_mutex lock_;
    bool completed_ = false;
    bool flag_ = false;
    byte_vector trailers_;
    std::shared_ptr<void> attachment_;
};

} // namespace http
