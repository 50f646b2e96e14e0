#pragma once

#include "service/engine/stop.h"
#include "tool/web/io_data.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace service {

/// Nothing was found.
struct clean_verdict
{};

/// The object must be withheld.
struct blocked_verdict
{
    std::string threat; ///< name of the threat that was found
};

/// The object must be replaced.
struct repaired_verdict
{
    std::string threat;                 ///< name of the threat that was removed
    std::unique_ptr<web::io_data> body; ///< the object without the threat
};

/// The engine works, but cannot look into the object: an encrypted archive, or more than its limits allow.
struct unchecked_verdict
{
    std::string why; ///< reason, for the log and the notice
};

/// The object could not be judged. It is neither clean nor infected; the peer receives an error response.
struct error_verdict
{
    std::string why; ///< reason, for the log
};

using verdict = std::variant<clean_verdict, blocked_verdict, repaired_verdict, unchecked_verdict, error_verdict>;

/// The properties of an object that are known before its bytes arrive.
struct object_info
{
    std::string name;       ///< as specified by the peer, UTF-8; may be empty
    std::uint64_t size = 0; ///< number of bytes that will follow
};

/// The scan of one object, created by scan_engine::begin. The order of calls is:
///
///   1. data(), any number of times, with the object's bytes in order; not called for an empty object;
///   2. finish(), once, with the whole object, for an engine that needs a second pass;
///   3. the destructor. Without a preceding finish() the scan was abandoned and its result is not used.
///
/// All calls of one scan come from one thread. An exception from data() or finish() counts as an error verdict.
class object_scan
{
public:
    /// Consumes the next bytes. Returns false if no further bytes are needed; the next call is then finish().
    virtual bool data(std::string_view piece) = 0;
    [[nodiscard]] virtual verdict finish(web::io_data& object) = 0;
    virtual ~object_scan() = default;
};

/// By what an engine judges.
struct engine_version
{
    std::string text{};                       ///< as the engine reports it, without an address; empty if not known
    std::optional<std::int64_t> signatures{}; ///< when the signatures were made, in seconds since 1970, if known
};

/// One of the engines of which an engine consists.
struct engine_part
{
    std::string name;
    bool works = false; ///< at the last probe
    engine_version version{};
};

/// The result of a probe of an engine.
struct engine_state
{
    std::string identity; ///< as identity() returns it
    std::string fault;    ///< why the engine cannot judge at present; empty if it can
    std::string remark{}; ///< which parts of the engine cannot be reached while others judge in their place, and why
    std::vector<engine_part> parts{}; ///< empty for an engine that does not consist of others
    engine_version version{};         ///< of an engine that does not consist of others
};

/// Judges objects. All functions are thread-safe.
class scan_engine
{
public:
    /// Returns the engine's name for the log.
    [[nodiscard]] virtual std::string_view name() const noexcept = 0;
    /// Starts a scan. The scan keeps no reference to `info`. `stop` requests that the scan be abandoned soon. An
    /// exception counts as an error verdict.
    [[nodiscard]] virtual std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) = 0;
    /// Returns true if an object of that size in bytes takes less time than the start of another thread's work, and
    /// never waits.
    [[nodiscard]] virtual bool is_quick(std::uint64_t /*size*/) const noexcept { return false; }
    /// Returns a text that changes whenever verdicts may change, such as the version of a signature database. Does not
    /// throw.
    [[nodiscard]] virtual std::string identity(stop_token stop) = 0;
    /// Queries whether the engine can judge, and its identity. An engine that is part of this process always can.
    [[nodiscard]] virtual engine_state probe(stop_token stop) { return {identity(std::move(stop)), {}}; }
    /// Returns true if a scan usually takes longer than the digest of the object, so that a verdict is worth keeping.
    [[nodiscard]] virtual bool worth_caching() const noexcept { return true; }
    virtual ~scan_engine() = default;
};

/// Calls `work`. Returns an error verdict if it throws.
template <typename Work>
[[nodiscard]] std::optional<error_verdict> failure_of(Work work) noexcept
{
    try {
        work();
        return std::nullopt;
    } catch (const std::exception& failure) {
        return error_verdict{failure.what()};
    } catch (...) {
        return error_verdict{"unknown failure of the engine"};
    }
}

/// Scans an object from start to end. Never throws: every failure becomes an error verdict.
[[nodiscard]] verdict scan(scan_engine& engine, const object_info& info, web::io_data& object, const stop_token& stop);

/// What applies to all engines of a kind.
struct engine_settings
{
    std::size_t clamd_streams = 10; ///< objects that one clamd judges at a time; 0: any number
};

/// Makes the engine specified by `text`: "builtin", "clamd:tcp:HOST:PORT" with a loopback HOST ("localhost", 127.x.x.x,
/// ::1 or [::1]), "icap://HOST:PORT/SERVICE" with any HOST (default port: 1344) or, if the system supports such
/// sockets, "clamd:unix:PATH". Throws std::invalid_argument with a text that describes the error.
[[nodiscard]] std::shared_ptr<scan_engine> make_engine(std::string_view text, const engine_settings& settings = {});

} // namespace service
