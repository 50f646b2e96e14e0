#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace http {

using byte_vector = std::vector<char>;

/// Walks a header table in its order. Invalid after any change of the table.
class fields_enumerator
{
public:
    [[nodiscard]] virtual bool at_end() const = 0;
    /// Moves on; false at the end.
    virtual bool next() = 0;
    /// Name and value; both empty at the end.
    [[nodiscard]] virtual std::pair<std::string, std::string> current() const = 0;
    virtual ~fields_enumerator() = default;
};

/// The header table of a message. Every operation takes the message's lock; ranges obtained before a change are
/// dead after it. A change rebuilds the head's text.
class message_headers
{
public:
    /// Inserts an absent name and returns true; a present one is left alone and false is returned.
    virtual bool add(std::string_view name, std::string_view value) = 0;
    /// The value's bytes, or an empty pointer when the name is absent.
    [[nodiscard]] virtual std::unique_ptr<byte_vector> get(std::string_view name) = 0;
    virtual bool remove(std::string_view name) = 0;
    virtual void set(std::string_view name, std::string_view value) = 0;
    virtual void replace(std::string_view old_name, std::string_view new_name, std::string_view value) = 0;
    [[nodiscard]] virtual std::unique_ptr<fields_enumerator> enumerator() = 0;
    virtual ~message_headers() = default;
};

} // namespace http
