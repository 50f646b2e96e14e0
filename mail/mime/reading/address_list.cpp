#include "mail/mime/reading/address_list.h"

#include "mail/mime/reading/word_cost.h"
#include "mail/mime/text/gmime_ptr.h"
#include "mail/mime/text/mime_library.h"

#include <algorithm>

namespace host {

namespace {

constexpr std::string_view openers = "\"([<";
constexpr std::string_view closers = "\")]>";

/// Returns the position of the character that closes the quote, comment, literal or route opened at `start`; npos if it
/// is not closed.
std::size_t end_of_opened(std::string_view value, std::size_t start)
{
    const char opened = value[start];
    const char closes = closers[openers.find(opened)];
    std::size_t depth = 1; // nesting depth of comments
    for (std::size_t at = start + 1; at < value.size(); ++at) {
        if (value[at] == '\\') {
            ++at;
        } else if (value[at] == closes) {
            if (--depth == 0) {
                return at;
            }
        } else if (opened == '(' && value[at] == '(') {
            ++depth;
        }
    }
    return std::string_view::npos;
}

/// Passes a list to the library one address at a time, for which the library needs no lookahead.
class address_reader
{
public:
    explicit address_reader(std::string_view value)
        : value_(value)
    {}

    std::vector<mail_address> read()
    {
        std::size_t start = 0;
        bool in_address = false; // after a "<", where ":" does not end a group name
        for (std::size_t at = 0; at < value_.size(); ++at) {
            const char c = value_[at];
            if (c == ',' || c == ';' || (c == ':' && (!in_address || damaged_))) {
                end_piece(start, at, c);
                start = at + 1;
                in_address = false;
            } else if (openers.find(c) != std::string_view::npos) {
                const std::size_t end = skip(at);
                in_address = c == '<' ? end == at : in_address;
                at = end;
            } else if (c == '>') {
                in_address = false;
            }
        }
        end_piece(start, value_.size(), ';');
        return std::move(found_);
    }

private:
    /// Skips a quote, a comment, a literal, or an address with a route, which may contain commas. After the first
    /// unclosed one, none of these is recognized any more.
    std::size_t skip(std::size_t at)
    {
        const bool opens = value_[at] != '<' || value_.substr(at + 1).starts_with('@');
        if (damaged_ || !opens) {
            return at;
        }
        const std::size_t end = end_of_opened(value_, at);
        damaged_ = end == std::string_view::npos;
        return damaged_ ? at : end;
    }

    /// Processes the text between two delimiters and the delimiter after it: "," and ";" end an address, ":" ends the
    /// name of a group.
    void end_piece(std::size_t start, std::size_t end, char mark)
    {
        const std::string_view piece = value_.substr(start, end - start);
        const std::size_t address = piece.find_first_of("<@");
        if (address == std::string_view::npos) {
            if (mark != ':' && piece.find_first_not_of(" \t\r\n") != std::string_view::npos) {
                held_.push_back(piece);
            }
        } else if (piece[address] == '<' && !held_.empty()) { // the commas of a name were not quoted
            const auto begin = static_cast<std::size_t>(held_.front().data() - value_.data());
            held_.clear();
            take(value_.substr(begin, end - begin));
        } else {
            take_held();
            take(piece);
        }
        if (mark != ',') {
            take_held();
        }
    }

    void take_held()
    {
        for (const std::string_view piece : held_) {
            take(piece);
        }
        held_.clear();
    }

    void take(std::string_view piece)
    {
        GMimeParserOptions* const options = has_costly_words(piece) ? bounded_options() : lenient_options();
        const gobject_ptr<InternetAddressList> list(internet_address_list_parse(options, std::string(piece).c_str()));
        const int count = list ? internet_address_list_length(list.get()) : 0;
        for (int i = 0; i < count; ++i) {
            InternetAddress* address = internet_address_list_get_address(list.get(), i);
            if (INTERNET_ADDRESS_IS_MAILBOX(address)) {
                found_.push_back({text_of(internet_address_get_name(address)),
                                  text_of(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)))});
            }
        }
    }

    std::string_view value_;
    std::vector<std::string_view> held_; ///< consecutive pieces without an address
    bool damaged_ = false;
    std::vector<mail_address> found_;
};

} // namespace

std::vector<mail_address> read_addresses(std::string_view value)
{
    return address_reader(value).read();
}

} // namespace host
