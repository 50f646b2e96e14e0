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

/// A content length that is not known: all ones in the low 32 bits.
inline constexpr std::uint64_t unknown_length = 0xFFFFFFFFU;

/// What requests and responses have in common. The lock guards head, store and header table.
class generic_message : public message, public message2, private boost::noncopyable
{
public:
    void set_id(std::uint32_t id) override { id_ = id; }
    [[nodiscard]] std::uint32_t id() const override { return id_; }
    /// The store's size equals the content length; never true while that is unknown.
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

    /// Goes to append().
    std::uint64_t input(const char* begin, const char* end) override { return append(begin, end); }
    /// Does nothing: completeness is a matter of sizes.
    void set_completed(bool) override {}

    [[nodiscard]] std::uint64_t content_length() const noexcept { return content_length_; }
    /// Makes the length unknown and sets the flag: the body's length comes from chunked framing.
    void mark_chunked();

protected:
    /// `body` must not be null.
    generic_message(byte_vector raw_head, std::uint64_t content_length, std::unique_ptr<web::io_data> body);

    std::recursive_mutex lock_;
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

/// An HTTP request.
class request_message final : public generic_message, public message_headers_impl<request_data>
{
public:
    /// `record` has its ranges in the buffer of `raw_head`, which is moved and not copied.
    request_message(byte_vector raw_head, const request_data& record, std::uint64_t content_length,
                    std::unique_ptr<web::io_data> body);

    [[nodiscard]] std::uint32_t type() const override { return type_request; }
    [[nodiscard]] std::uint32_t content_kind() override { return 0; }
    [[nodiscard]] std::uint32_t encoding_kind() override { return 0; }
    [[nodiscard]] content_range_data content_range() override { return {}; }
    void accept(message_handler& handler, void* argument) override;
    [[nodiscard]] message_headers& headers() override { return *this; }
    /// The parsed head; its ranges are dead after any change of a header.
    [[nodiscard]] const request_data& record() const noexcept { return record_; }

private:
    request_data record_;
};

/// An HTTP response.
class response_message final : public generic_message, public message_headers_impl<response_data>
{
public:
    /// `request_method` is the method_id of the request that this answers, 0 when unknown.
    response_message(byte_vector raw_head, const response_data& record, std::uint64_t content_length,
                     std::unique_ptr<web::io_data> body, std::uint32_t request_method);

    [[nodiscard]] std::uint32_t type() const override { return type_response; }
    [[nodiscard]] std::uint32_t content_kind() override;
    [[nodiscard]] std::uint32_t encoding_kind() override;
    [[nodiscard]] content_range_data content_range() override;
    void accept(message_handler& handler, void* argument) override;
    [[nodiscard]] message_headers& headers() override { return *this; }
    [[nodiscard]] const response_data& record() const noexcept { return record_; }
    [[nodiscard]] std::uint32_t status() const noexcept { return record_.status; }
    [[nodiscard]] std::uint32_t request_method() const noexcept { return request_method_; }

private:
    response_data record_;
    std::uint32_t request_method_;
};

/// A message whose body comes in chunks of HTTP's own framing, or by input() with the framing already taken off. It
/// wraps the message that keeps head and payload and forwards to it all that is not told here.
class chunked_message final : public message, public message2, private boost::noncopyable
{
public:
    /// Sets the length of `inner` to unknown and marks it as chunked. `inner` must not be null.
    explicit chunked_message(std::unique_ptr<generic_message> inner);

    void set_id(std::uint32_t id) override { inner_->set_id(id); }
    [[nodiscard]] std::uint32_t id() const override { return inner_->id(); }
    [[nodiscard]] std::uint32_t type() const override { return inner_->type(); }
    [[nodiscard]] bool complete() override;
    [[nodiscard]] std::uint32_t content_kind() override { return inner_->content_kind(); }
    [[nodiscard]] std::uint32_t encoding_kind() override { return inner_->encoding_kind(); }
    [[nodiscard]] content_range_data content_range() override { return inner_->content_range(); }
    [[nodiscard]] web::io_data& body() override { return inner_->body(); }
    [[nodiscard]] const byte_vector& raw_head() const override { return inner_->raw_head(); }
    /// The text that a chunked sender would send: head, the store as one chunk, the end mark, trailers.
    bool read(read_span* span, byte_vector& out) override;
    void set_body(std::unique_ptr<web::io_data> store) override { inner_->set_body(std::move(store)); }
    [[nodiscard]] std::uint32_t created() const override { return inner_->created(); }
    void accept(message_handler& handler, void* argument) override { inner_->accept(handler, argument); }
    [[nodiscard]] std::uint64_t body_size() override { return inner_->body_size(); }
    [[nodiscard]] std::uint64_t total_size() override { return inner_->total_size(); }
    /// Takes bytes with HTTP's chunked framing; as http_message_body::append.
    std::uint64_t append(const char* begin, const char* end) override;
    [[nodiscard]] message_headers& headers() override { return inner_->headers(); }
    [[nodiscard]] bool flag() const override { return flag_; }
    void flag(bool value) override { flag_ = value; }
    void update_length() override {}
    void attach(std::shared_ptr<void> attachment) override;
    [[nodiscard]] std::shared_ptr<void> attachment() override;

    /// Takes payload. An empty range or a complete message takes nothing and still reports the range's length.
    std::uint64_t input(const char* begin, const char* end) override;
    void set_completed(bool completed) override;

    [[nodiscard]] generic_message& inner() noexcept { return *inner_; }
    [[nodiscard]] const std::vector<chunk_record>& chunks() const noexcept { return decoder_.chunks(); }

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
