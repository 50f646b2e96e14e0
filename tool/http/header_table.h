#pragma once

#include "tool/http/grammar.h"
#include "tool/http/head_records.h"
#include "tool/http/message_headers.h"

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

/// The header table of a message, for both kinds of record and any grammar.
namespace http {

/// Writes the text of a head and parses it again.
template <typename Record>
struct header_traits;

template <>
struct header_traits<request_data>
{
    /// Writes the head of `record` into `buffer`, whose former contents are discarded, and returns the record of the
    /// new text; its ranges point into `buffer`. The text has one blank between the parts of the start line, CR LF as
    /// line ends, and the headers in the order of the table as "Name: value". A record without a protocol is written as
    /// HTTP.
    ///
    /// Throws std::runtime_error "header_traits<http::request_data>::assemble: failed" if `grammar` refuses the new
    /// text. `record` must not point into `buffer`.
    static request_data assemble(const request_data& record, byte_vector& buffer, head_grammar<request_data> grammar);
};

template <>
struct header_traits<response_data>
{
    /// As for requests. Throws std::runtime_error "header_traits<http::response_data>::assemble: failed". A status
    /// below 100 cannot be written, because it is written without leading zeros.
    static response_data assemble(const response_data& record, byte_vector& buffer,
                                  head_grammar<response_data> grammar);
};

/// Iterates over a table, which is not owned. It has no lock and becomes invalid with any change of the table.
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

/// Implements message_headers over a record and the raw head that the record's ranges point into. Every operation takes
/// the message's lock. The lock, the raw head and the record belong to the message and must outlive this object.
///
/// A change rebuilds the head from the record: header lines are sorted by name, and of several lines of one name only
/// the first remains. Ranges of the record that were obtained before become invalid.
///
/// If `grammar` refuses the new head, the operation throws as header_traits::assemble() does. The table is then
/// changed, but the raw head is not; a later change that makes the head valid again repairs this.
template <typename Record>
class message_headers_impl : public message_headers
{
public:
    message_headers_impl(std::recursive_mutex& lock, byte_vector& raw_head, Record& record,
                         head_grammar<Record> grammar)
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
    std::list<std::string> loose_text_; ///< text of entries that the raw head does not contain yet
};

extern template class message_headers_impl<request_data>;
extern template class message_headers_impl<response_data>;

} // namespace http
