#pragma once

#include "tool/web/io_data.h"

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

namespace service {

/// Nothing was found.
struct clean_verdict
{};

/// The object is to be withheld.
struct blocked_verdict
{
    std::string threat; ///< name of what was found
};

/// The object is to be replaced.
struct repaired_verdict
{
    std::string threat;                 ///< name of what was taken out
    std::unique_ptr<web::io_data> body; ///< the object without it
};

/// The object could not be judged. It is neither clean nor infected: the peer is told of an error.
struct error_verdict
{
    std::string why; ///< for the log
};

using verdict = std::variant<clean_verdict, blocked_verdict, repaired_verdict, error_verdict>;

/// What is known of an object before its bytes come.
struct object_info
{
    std::string name;       ///< as the peer calls it, UTF-8; may be empty
    std::uint64_t size = 0; ///< bytes that will come
};

/// The scan of one object, made by scan_engine::begin. The order of calls:
///
///   1. data(), any number of times, with the object's bytes in order; none for an empty object;
///   2. finish(), once, with the whole object, for an engine that has to look again;
///   3. the destructor. Without finish() before it the scan was given up and its outcome concerns nobody.
///
/// All calls of one scan come from one thread. What data() and finish() raise counts as an error verdict.
class object_scan
{
public:
    /// Takes the next bytes. False when no further bytes are needed: finish() then comes next.
    virtual bool data(std::string_view piece) = 0;
    [[nodiscard]] virtual verdict finish(web::io_data& object) = 0;
    virtual ~object_scan() = default;
};

/// A judge of objects. All operations may be called from several threads at once.
class scan_engine
{
public:
    /// For the log.
    [[nodiscard]] virtual std::string_view name() const noexcept = 0;
    /// Starts a scan; a scan keeps nothing of `info`. `stop` tells the scan to give up soon. What it raises counts as
    /// an error verdict.
    [[nodiscard]] virtual std::unique_ptr<object_scan> begin(const object_info& info, std::stop_token stop) = 0;
    /// A text that changes whenever verdicts may change, such as the version of a signature database. Does not raise.
    [[nodiscard]] virtual std::string identity(std::stop_token stop) = 0;
    virtual ~scan_engine() = default;
};

/// Scans an object from its start to its end. Never raises: every failure becomes an error verdict.
[[nodiscard]] verdict scan(scan_engine& engine, const object_info& info, web::io_data& object,
                           const std::stop_token& stop);

/// Makes the engine that a text names: "builtin", "clamd:tcp:HOST:PORT" with a loopback HOST ("localhost", 127.x.x.x,
/// ::1 or [::1]) or, where the system has such sockets, "clamd:unix:PATH". Raises std::invalid_argument with a text
/// that tells what is wrong.
[[nodiscard]] std::shared_ptr<scan_engine> make_engine(std::string_view text);

} // namespace service
