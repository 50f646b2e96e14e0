#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace http {

/// Bytes of the wire; not necessarily text, and without a terminating zero.
using byte_vector = std::vector<char>;

/// Iterates over a header table in the order of the table. Any change of the table invalidates it. Not thread-safe.
class fields_enumerator
{
public:
    /// Returns true if there is no current header.
    [[nodiscard]] virtual bool at_end() const = 0;
    /// Advances to the next header. Returns false if it already was at the end.
    virtual bool next() = 0;
    /// Returns copies of name and value; both are empty at the end.
    [[nodiscard]] virtual std::pair<std::string, std::string> current() const = 0;
    virtual ~fields_enumerator() = default;
};

/// The header table of a message. Names are compared case-insensitively; a name occurs once. Every operation takes the
/// message's lock. Values are taken and returned as bytes, without interpretation.
///
/// A change rebuilds the head's text with sorted header lines and invalidates ranges and enumerators obtained before.
/// The implementation throws std::runtime_error if the new head is not well-formed; see message_headers_impl.
///
/// Example:
///
///     message.headers().set("Host", "example");
///     if (const auto value = message.headers().get("host")) {
///         use(std::string_view(value->data(), value->size()));
///     }
class message_headers
{
public:
    /// Inserts the header and returns true if the name is absent. Otherwise changes nothing and returns false.
    virtual bool add(std::string_view name, std::string_view value) = 0;
    /// Returns a copy of the value, or null if the name is absent. The value of a header without one is empty, not
    /// null.
    [[nodiscard]] virtual std::unique_ptr<byte_vector> get(std::string_view name) = 0;
    /// Removes the header. Returns false if the name is absent.
    virtual bool remove(std::string_view name) = 0;
    /// Inserts the header or replaces the present one, whose spelling of the name is replaced too.
    virtual void set(std::string_view name, std::string_view value) = 0;
    /// Removes `old_name`, if it is present, and inserts `new_name` unless that is present already.
    virtual void replace(std::string_view old_name, std::string_view new_name, std::string_view value) = 0;
    /// Returns an enumerator at the first header. The message must outlive it.
    [[nodiscard]] virtual std::unique_ptr<fields_enumerator> enumerator() = 0;
    virtual ~message_headers() = default;
};

} // namespace http
