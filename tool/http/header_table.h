#pragma once

#include "tool/http/grammar.h"
#include "tool/http/head_records.h"
#include "tool/http/message_headers.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

/// The header table of a message, for both kinds of record and any grammar.
namespace http {

/// Writes the text of a head and reads it back.
template <typename Record>
struct header_traits;

template <>
struct header_traits<request_data>
{
    /// Writes the head of `record` into `buffer`, which is emptied first, and returns the record of the new text.
    /// A record without a protocol is written as HTTP. A text that the grammar refuses raises std::runtime_error
    /// "header_traits<http::request_data>::assemble: failed".
    static request_data assemble(const request_data& record, byte_vector& buffer, head_grammar<request_data> grammar);
};

template <>
struct header_traits<response_data>
{
    /// As for requests; raises "header_traits<http::response_data>::assemble: failed".
    static response_data assemble(const response_data& record, byte_vector& buffer,
                                  head_grammar<response_data> grammar);
};

/// Walks a table. It has no lock and is dead after any change of the table.
class fields_enumerators_impl final : public fields_enumerator
{
public:
    explicit fields_enumerators_impl(const fields& table) noexcept;

    [[nodiscard]] bool at_end() const override;
    bool next() override;
    [[nodiscard]] std::pair<std::string, std::string> current() const override;

private:
    const fields* table_;
    fields::const_iterator position_;
};

/// message_headers over a record and the raw head that the record's ranges point into. Lock, raw head and record
/// belong to the message and outlive this object.
///
/// A change that the grammar refuses raises what assemble raises; the table is then changed and the head text old.
template <typename Record>
class message_headers_impl : public message_headers
{
public:
    message_headers_impl(std::recursive_mutex& lock, byte_vector& raw_head, Record& record,
                         head_grammar<Record> grammar) noexcept
        : lock_(lock)
        , raw_head_(raw_head)
        , record_(record)
        , grammar_(grammar)
    {}
    message_headers_impl(const message_headers_impl&) = delete;
    message_headers_impl& operator=(const message_headers_impl&) = delete;

    bool add(std::string_view name, std::string_view value) override;
    [[nodiscard]] std::unique_ptr<byte_vector> get(std::string_view name) override;
    bool remove(std::string_view name) override;
    void set(std::string_view name, std::string_view value) override;
    void replace(std::string_view old_name, std::string_view new_name, std::string_view value) override;
    [[nodiscard]] std::unique_ptr<fields_enumerator> enumerator() override;

private:
    bool insert(std::string_view name, std::string_view value);
    bool erase(std::string_view name);
    void rebuild(std::size_t added);

    std::recursive_mutex& lock_;
    byte_vector& raw_head_;
    Record& record_;
    head_grammar<Record> grammar_;
    std::deque<std::string> loose_text_; ///< text of entries that are not in the raw head yet
};

extern template class message_headers_impl<request_data>;
extern template class message_headers_impl<response_data>;

} // namespace http
