#include "tool/http/header_table.h"

#include <algorithm>
#include <stdexcept>

namespace http {

namespace {

constexpr std::string_view line_end = "\r\n";

void put(byte_vector& buffer, std::string_view text)
{
    const std::size_t place = buffer.size();
    buffer.resize(place + text.size());
    std::copy(text.begin(), text.end(), buffer.begin() + static_cast<std::ptrdiff_t>(place));
}

/// Writes four letters and "/". A request with an unusual method has no stored protocol; it can only be HTTP.
void put_protocol(byte_vector& buffer, range protocol)
{
    constexpr std::size_t length = 4;
    put(buffer, protocol.size() < length ? range("HTTP") : protocol.substr(0, length));
    put(buffer, "/");
}

void put_headers(byte_vector& buffer, const fields& table)
{
    put(buffer, line_end);
    for (const auto& [name, value] : table) {
        put(buffer, name);
        put(buffer, ": ");
        put(buffer, value);
        put(buffer, line_end);
    }
    put(buffer, line_end);
}

template <typename Record>
Record parse_again(const byte_vector& buffer, head_grammar<Record> grammar, const char* failure)
{
    Record record;
    if (!grammar(buffer.data(), buffer.data() + buffer.size(), record).hit) {
        throw std::runtime_error(failure);
    }
    return record;
}

} // namespace

request_data header_traits<request_data>::assemble(const request_data& record, byte_vector& buffer,
                                                   head_grammar<request_data> grammar)
{
    buffer.clear();
    put(buffer, record.method);
    put(buffer, " ");
    put(buffer, record.uri);
    put(buffer, " ");
    put_protocol(buffer, record.protocol);
    put(buffer, record.version);
    put_headers(buffer, record.fields);
    return parse_again(buffer, grammar, "header_traits<http::request_data>::assemble: failed");
}

response_data header_traits<response_data>::assemble(const response_data& record, byte_vector& buffer,
                                                     head_grammar<response_data> grammar)
{
    buffer.clear();
    put_protocol(buffer, record.protocol);
    put(buffer, record.version);
    put(buffer, " ");
    put(buffer, std::to_string(record.status));
    put(buffer, " ");
    put(buffer, record.reason);
    put_headers(buffer, record.fields);
    return parse_again(buffer, grammar, "header_traits<http::response_data>::assemble: failed");
}

fields_enumerators_impl::fields_enumerators_impl(const fields& table) noexcept
    : table_(&table)
    , position_(table.begin())
{}

bool fields_enumerators_impl::at_end() const
{
    return position_ == table_->end();
}

bool fields_enumerators_impl::next()
{
    if (at_end()) {
        return false;
    }
    ++position_;
    return true;
}

std::pair<std::string, std::string> fields_enumerators_impl::current() const
{
    if (at_end()) {
        return {};
    }
    return {std::string(position_->first), std::string(position_->second)};
}

template <typename Record>
bool message_headers_impl<Record>::add(std::string_view name, std::string_view value)
{
    const std::lock_guard guard(lock_);
    if (!insert(name, value)) {
        return false;
    }
    rebuild(name.size() + value.size());
    return true;
}

template <typename Record>
std::unique_ptr<byte_vector> message_headers_impl<Record>::get(std::string_view name)
{
    const std::lock_guard guard(lock_);
    const auto found = record_.fields.find(name);
    if (found == record_.fields.end()) {
        return nullptr;
    }
    return std::make_unique<byte_vector>(found->second.begin(), found->second.end());
}

template <typename Record>
bool message_headers_impl<Record>::remove(std::string_view name)
{
    const std::lock_guard guard(lock_);
    if (!erase(name)) {
        return false;
    }
    rebuild(0);
    return true;
}

template <typename Record>
void message_headers_impl<Record>::set(std::string_view name, std::string_view value)
{
    const std::lock_guard guard(lock_);
    erase(name);
    insert(name, value);
    rebuild(name.size() + value.size());
}

template <typename Record>
void message_headers_impl<Record>::replace(std::string_view old_name, std::string_view new_name, std::string_view value)
{
    const std::lock_guard guard(lock_);
    const bool erased = erase(old_name);
    const bool inserted = insert(new_name, value);
    if (erased || inserted) {
        rebuild(new_name.size() + value.size());
    }
}

template <typename Record>
std::unique_ptr<fields_enumerator> message_headers_impl<Record>::enumerator()
{
    const std::lock_guard guard(lock_);
    return std::make_unique<fields_enumerators_impl>(record_.fields);
}

template <typename Record>
bool message_headers_impl<Record>::insert(std::string_view name, std::string_view value)
{
    if (record_.fields.contains(name)) {
        return false;
    }
    // The entry must outlive the caller's text if the head cannot be rebuilt.
    const std::string& own_name = loose_text_.emplace_back(name);
    const std::string& own_value = loose_text_.emplace_back(value);
    record_.fields.emplace(own_name, own_value);
    return true;
}

template <typename Record>
bool message_headers_impl<Record>::erase(std::string_view name)
{
    const auto found = record_.fields.find(name);
    if (found == record_.fields.end()) {
        return false;
    }
    record_.fields.erase(found);
    return true;
}

template <typename Record>
void message_headers_impl<Record>::rebuild(std::size_t added)
{
    byte_vector buffer;
    buffer.reserve(raw_head_.size() + added + 2);
    record_ = header_traits<Record>::assemble(record_, buffer, grammar_);
    raw_head_.swap(buffer);
    loose_text_.clear();
}

template class message_headers_impl<request_data>;
template class message_headers_impl<response_data>;

} // namespace http
