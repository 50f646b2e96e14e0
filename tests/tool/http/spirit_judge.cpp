#include "tests/tool/http/spirit_judge.h"

#include <boost/spirit/include/classic.hpp>

#include <cstdint>

namespace judge {

namespace {

namespace spirit = boost::spirit::classic;

using http::chunk_line;
using http::range;
using http::request_data;
using http::response_data;
using http::uri_data;
using rule = spirit::rule<>;
using bytes = spirit::chset<unsigned char>;

// Actions write into the record of the running parse, to which a grammar has a pointer.

template <typename Record>
struct sequence
{
    Record*& record;
    range Record::*field;

    void operator()(const char* begin, const char* end) const
    {
        record->*field = range(begin, static_cast<std::size_t>(end - begin));
    }
};

template <typename Record>
sequence<Record> store(Record*& record, range Record::*field)
{
    return {record, field};
}

template <typename Record>
struct store_header
{
    Record*& record;

    void operator()(const char* begin, const char* end) const
    {
        const range line(begin, static_cast<std::size_t>(end - begin));
        const std::size_t colon = line.find(':');
        range value = line.substr(colon + 1);
        value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
        record->fields.insert({line.substr(0, colon), value});
    }
};

struct store_status
{
    response_data*& record;

    void operator()(const char* begin, const char* end) const
    {
        record->status = static_cast<std::uint32_t>(std::stoul(std::string(begin, end)));
    }
};

struct store_size
{
    chunk_line*& record;

    void operator()(std::uint32_t size) const { record->size = size; }
};

bytes byte_range(unsigned char first, unsigned char last)
{
    return bytes(spirit::range<unsigned char>(first, last));
}

/// Rules without actions that all grammars share.
struct common_rules
{
    bytes separators{"()<>@,;:\\\"/[]?={} \t"};
    rule eol, blanks, gap, lws, token, field_value, colon, message_header, word;

    common_rules()
    {
        using spirit::anychar_p;
        using spirit::ch_p;
        eol = *ch_p(' ') >> *ch_p('\r') >> ch_p('\n');
        gap = +(ch_p(' ') | ch_p('\t'));
        blanks = *(ch_p(' ') | ch_p('\t'));
        lws = !eol >> +(ch_p(' ') | ch_p('\t'));
        token = +(byte_range(0x20, 0x7F) - separators);
        field_value = *((anychar_p - (ch_p('\r') | ch_p('\n'))) | lws);
        colon = *(anychar_p - ch_p(':')) >> ch_p(':');
        message_header = token >> colon >> !field_value;
        word = +byte_range(0x21, 0xFF);
    }
};

template <typename Record>
struct head_rules : common_rules
{
    Record* record = nullptr;
    rule headers;

    head_rules() { headers = *(message_header[store_header<Record>{record}] >> eol); }

    http::parse_info run(const rule& head, const char* begin, const char* end, Record& out)
    {
        record = &out;
        const auto parsed = spirit::parse(begin, end, head);
        return {parsed.hit, parsed.stop};
    }
};

struct request_rules : head_rules<request_data>
{
    spirit::symbols<int> icap_methods, basic, dav, versioning;
    rule icap_method, http_method, icap, http, extension;

    request_rules()
    {
        using spirit::ch_p;
        using spirit::str_p;
        icap_methods = "REQMOD", "OPTIONS", "RESPMOD";
        basic = "GET", "OPTIONS", "HEAD", "POST", "PUT", "DELETE", "TRACE", "CONNECT", "PATCH";
        dav = "BCOPY", "BDELETE", "BMOVE", "BPROPFIND", "BPROPPATCH", "COPY", "LOCK", "MKCOL", "MOVE", "NOTIFY", "POLL",
        "PROPFIND", "PROPPATCH", "SEARCH", "SUBSCRIBE", "UNLOCK", "UNSUBSCRIBE", "X-MS-ENUMATTS";
        versioning = "VERSION-CONTROL", "CHECKOUT", "REPORT", "CHECKIN", "UNCHECKOUT", "UPDATE", "LABEL", "MERGE",
        "BASELINE-CONTROL", "MKACTIVITY", "MKWORKSPACE";

        const auto method = store(record, &request_data::method);
        const auto uri = store(record, &request_data::uri);
        const auto protocol = store(record, &request_data::protocol);
        const auto version = store(record, &request_data::version);

        icap_method = icap_methods;
        http_method = basic | dav | versioning;
        icap = icap_method[method] >> gap >> word[uri] >> gap >> str_p("ICAP")[protocol] >> ch_p('/') >>
               word[version] >> eol >> headers >> eol;
        http = http_method[method] >> gap >>
               (+((byte_range(0x20, 0xFF) | ch_p('\x05')) - (gap >> str_p("HTTP"))))[uri] >> gap >>
               str_p("HTTP")[protocol] >> ch_p('/') >> word[version] >> eol >> headers >> eol;
        extension = (+(byte_range('!', '|') - byte_range('a', 'z') - separators))[method] >> gap >> word[uri] >> gap >>
                    str_p("HTTP/") >> word[version] >> eol >> headers >> eol;
    }
};

struct response_rules : head_rules<response_data>
{
    rule icap, http, status, reason, tail;

    response_rules()
    {
        using spirit::ch_p;
        using spirit::digit_p;
        using spirit::end_p;
        using spirit::eps_p;
        using spirit::repeat_p;
        using spirit::str_p;
        const auto protocol = store(record, &response_data::protocol);
        const auto version = store(record, &response_data::version);
        status = (repeat_p(3)[digit_p] >> (end_p | eps_p(~bytes("0-9"))))[store_status{record}];
        reason = *byte_range(0x20, 0xFF);
        tail = ch_p('/') >> word[version] >> gap >> status >> blanks >> reason[store(record, &response_data::reason)] >>
               eol >> headers >> eol;
        icap = str_p("ICAP")[protocol] >> tail;
        http = str_p("HTTP")[protocol] >> tail;
    }
};

struct chunk_rules : common_rules
{
    chunk_line* record = nullptr;
    rule qdtext, quoted, extension, header_lines, size, last;

    chunk_rules()
    {
        using spirit::ch_p;
        const spirit::uint_parser<std::uint32_t, 16, 1, -1> hexadecimal{};
        const auto store_extension = store(record, &chunk_line::extension);
        const auto store_trailers = store(record, &chunk_line::trailers);
        qdtext = byte_range(0x20, 0xFF) | lws;
        quoted = ch_p('"') >> *((ch_p('\\') >> byte_range(0x00, 0x7F)) | (qdtext - ch_p('"'))) >> ch_p('"');
        extension = *(ch_p(';') >> !(token >> !(ch_p('=') >> (token | quoted))) >> *byte_range(0x20, 0x7F));
        size = hexadecimal[store_size{record}] >> blanks >> !extension[store_extension] >> eol;
        header_lines = *(message_header >> eol);
        last = +ch_p('0') >> blanks >> !extension[store_extension] >> eol >>
               ((eol >> (+(message_header >> eol))[store_trailers] >> !eol) | (header_lines[store_trailers] >> eol));
    }

    http::parse_info run(const rule& line, const char* begin, const char* end, chunk_line& out)
    {
        record = &out;
        const auto parsed = spirit::parse(begin, end, line);
        return {parsed.hit, parsed.stop};
    }
};

struct uri_rules
{
    uri_data* record = nullptr;
    rule uri, scheme, authority, path;

    uri_rules()
    {
        using spirit::ch_p;
        using spirit::str_p;
        const bytes letters("a-zA-Z");
        const bytes letters_digits("a-zA-Z0-9");
        scheme = letters >> *(letters_digits | ch_p('.') | ch_p('-') | ch_p('+'));
        authority = *(letters_digits | ch_p('=') | ch_p(';') | ch_p(',') | ch_p('+') | ch_p('*') | ch_p(')') |
                      ch_p('(') | ch_p('\'') | ch_p('&') | ch_p('$') | ch_p('!') | ch_p(':') | ch_p('%') | ch_p('~') |
                      ch_p('_') | ch_p('-') | ch_p('@') | ch_p('.'));
        path = ch_p('/') >> *(letters_digits | ch_p('/'));
        uri = !scheme[store(record, &uri_data::scheme)] >> !str_p("://") >>
              authority[store(record, &uri_data::authority)] >> path[store(record, &uri_data::path)] >>
              !(ch_p('?') >> (*letters_digits)[store(record, &uri_data::query)]) >>
              !(ch_p('#') >> (*letters_digits)[store(record, &uri_data::fragment)]);
    }
};

// Grammars contain pointers to themselves, so they are constructed in place, once.
request_rules& requests()
{
    static request_rules rules;
    return rules;
}

response_rules& responses()
{
    static response_rules rules;
    return rules;
}

chunk_rules& chunks()
{
    static chunk_rules rules;
    return rules;
}

// Comparison of the results of two readers.

/// A range as its position in the text and its length.
std::string shown(range value, std::string_view text)
{
    if (value.data() == nullptr) {
        return "unset";
    }
    return std::to_string(value.data() - text.data()) + "+" + std::to_string(value.size());
}

std::string shown(const http::fields& table, std::string_view text)
{
    std::string result;
    for (const auto& [name, value] : table) {
        result += " [" + shown(name, text) + " = " + shown(value, text) + "]";
    }
    return result;
}

std::string shown(const request_data& record, std::string_view text)
{
    return "protocol " + shown(record.protocol, text) + " method " + shown(record.method, text) + " uri " +
           shown(record.uri, text) + " version " + shown(record.version, text) + shown(record.fields, text);
}

std::string shown(const response_data& record, std::string_view text)
{
    return "protocol " + shown(record.protocol, text) + " version " + shown(record.version, text) + " status " +
           std::to_string(record.status) + " reason " + shown(record.reason, text) + shown(record.fields, text);
}

std::string shown(const chunk_line& record, std::string_view text)
{
    return "size " + std::to_string(record.size) + " extension " + shown(record.extension, text) + " trailers " +
           shown(record.trailers, text);
}

std::string shown(const uri_data& record, std::string_view text)
{
    return "scheme " + shown(record.scheme, text) + " authority " + shown(record.authority, text) + " path " +
           shown(record.path, text) + " query " + shown(record.query, text) + " fragment " +
           shown(record.fragment, text);
}

template <typename Record>
using reader = http::parse_info (*)(const char*, const char*, Record&);

bool same(range left, range right)
{
    return left.data() == right.data() && left.size() == right.size();
}

bool same(const http::fields& left, const http::fields& right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const auto& one, const auto& other) {
        return same(one.first, other.first) && same(one.second, other.second);
    });
}

bool same(const request_data& left, const request_data& right)
{
    return same(left.protocol, right.protocol) && same(left.method, right.method) && same(left.uri, right.uri) &&
           same(left.version, right.version) && same(left.fields, right.fields);
}

bool same(const response_data& left, const response_data& right)
{
    return same(left.protocol, right.protocol) && same(left.version, right.version) && left.status == right.status &&
           same(left.reason, right.reason) && same(left.fields, right.fields);
}

bool same(const chunk_line& left, const chunk_line& right)
{
    return left.size == right.size && same(left.extension, right.extension) && same(left.trailers, right.trailers);
}

bool same(const uri_data& left, const uri_data& right)
{
    return same(left.scheme, right.scheme) && same(left.authority, right.authority) && same(left.path, right.path) &&
           same(left.query, right.query) && same(left.fragment, right.fragment);
}

template <typename Record>
std::string compare(const char* grammar, std::string_view text, reader<Record> own, reader<Record> judging,
                    unsigned& hits)
{
    const char* begin = text.data();
    const char* end = begin + text.size();
    Record own_record;
    Record judged_record;
    const http::parse_info parsed = own(begin, end, own_record);
    const http::parse_info judged = judging(begin, end, judged_record);
    hits += judged.hit ? 1U : 0U;
    if (parsed.hit == judged.hit && parsed.stop == judged.stop && same(own_record, judged_record)) {
        return {};
    }
    const auto result = [&](const http::parse_info& info, const Record& record) {
        return std::string(info.hit ? "hit" : "no hit") + " stop " + std::to_string(info.stop - begin) + " " +
               shown(record, text);
    };
    return std::string(grammar) + ":\n  reader " + result(parsed, own_record) + "\n  judge  " +
           result(judged, judged_record) + "\n";
}

} // namespace

http::parse_info parse_icap_request(const char* begin, const char* end, request_data& out)
{
    return requests().run(requests().icap, begin, end, out);
}

http::parse_info parse_icap_response(const char* begin, const char* end, response_data& out)
{
    return responses().run(responses().icap, begin, end, out);
}

http::parse_info parse_http_request(const char* begin, const char* end, request_data& out)
{
    return requests().run(requests().http, begin, end, out);
}

http::parse_info parse_http_extension_request(const char* begin, const char* end, request_data& out)
{
    return requests().run(requests().extension, begin, end, out);
}

http::parse_info parse_http_response(const char* begin, const char* end, response_data& out)
{
    return responses().run(responses().http, begin, end, out);
}

http::parse_info parse_chunk_size(const char* begin, const char* end, chunk_line& out)
{
    return chunks().run(chunks().size, begin, end, out);
}

http::parse_info parse_last_chunk(const char* begin, const char* end, chunk_line& out)
{
    return chunks().run(chunks().last, begin, end, out);
}

http::parse_info parse_uri(const char* begin, const char* end, uri_data& out)
{
    static uri_rules rules;
    rules.record = &out;
    const auto parsed = spirit::parse(begin, end, rules.uri);
    return {parsed.hit, parsed.stop};
}

std::string difference(std::string_view text, unsigned& hits)
{
    hits = 0;
    return compare<request_data>("icap request", text, &http::parse_icap_request, &parse_icap_request, hits) +
           compare<response_data>("icap response", text, &http::parse_icap_response, &parse_icap_response, hits) +
           compare<request_data>("http request", text, &http::parse_http_request, &parse_http_request, hits) +
           compare<request_data>("http extension request", text, &http::parse_http_extension_request,
                                 &parse_http_extension_request, hits) +
           compare<response_data>("http response", text, &http::parse_http_response, &parse_http_response, hits) +
           compare<chunk_line>("chunk size", text, &http::parse_chunk_size, &parse_chunk_size, hits) +
           compare<chunk_line>("last chunk", text, &http::parse_last_chunk, &parse_last_chunk, hits) +
           compare<uri_data>("uri", text, &http::parse_uri, &parse_uri, hits);
}

} // namespace judge
