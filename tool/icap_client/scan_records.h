#pragma once

#include "tool/web/io_data.h"

#include <cstdint>
#include <memory>
#include <string>

namespace http {
class message;
} // namespace http

namespace icap::client {

/// The contents of a mail scan.
enum class content_type : std::uint32_t
{
    body = 1,
    attachment = 2
};

// The parameters of the scans. Strings are narrow byte strings that are written to the wire unchanged. `timeout` is the
// wait for the answer in milliseconds. Pointers to HTTP messages are not owned and must outlive the scan.

struct scan_mail
{
    std::string user_name;
    std::uint32_t session_id = 0;
    std::string process_name;
    std::uint32_t process_id = 0;
    std::string subject;
    std::string tag;
    std::string mime_type;
    content_type type = content_type::body;
    std::string attach_name;
    std::shared_ptr<web::io_data> data;
    std::uint32_t timeout = 30000;
    /// The strings come from an untrusted sender: they are written so that they cannot affect the request (see
    /// hardened_values.h), and an exchange that fails results in ScanResult::None. A repair is not written into `data`;
    /// the answer contains it.
    bool hardened = false;
};

struct scan_health
{
    std::string user_name;
    std::string health;
    std::uint32_t timeout = 30000;
};

/// The size in bytes of the smallest object that is sent; smaller ones count as clean.
inline constexpr std::uint64_t smallest_object = 4;

struct scan_object
{
    std::string unused; ///< not sent in any request
    std::string object_name;
    std::shared_ptr<web::io_data> data;
    std::uint32_t timeout = 30000;
};

struct scan_http_request
{
    std::uint8_t https = 0;
    std::string user_name;
    std::string process_name;
    std::uint32_t process_id = 0;
    std::uint32_t session_id = 0;
    http::message* request = nullptr;
    std::uint32_t timeout = 30000;
};

struct scan_http_response
{
    std::uint8_t https = 0;
    std::string user_name;
    std::string process_name;
    std::uint32_t process_id = 0;
    std::uint32_t session_id = 0;
    http::message* request = nullptr;
    http::message* response = nullptr;
    std::uint32_t timeout = 30000;
};

struct scan_certificate
{
    std::string user_name;
    std::string process_name;
    std::uint32_t process_id = 0;
    std::string sni;
    std::wstring certificate_name;
    std::uint32_t timeout = 30000;
};

} // namespace icap::client
