#include "tests/tool/icap/encapsulated_judge.h"

#include "tool/http/head_records.h"

#include <boost/spirit/include/classic.hpp>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>

namespace test {
namespace {

namespace spirit = boost::spirit::classic;

using entries = std::map<http::range, std::uint32_t, http::field_less>;

/// Processes a whole item: the name is the text ahead of "=", the value the text behind it and behind the blanks that
/// follow.
struct store_item
{
    entries& target;

    void operator()(const char* begin, const char* end) const
    {
        const char* const equals = std::find(begin, end, '=');
        const char* value = equals + 1;
        while (value != end && *value == ' ') {
            ++value;
        }
        const std::string number(value, end);
        const long long parsed = std::strtoll(number.c_str(), nullptr, 10);
        const long long largest = std::numeric_limits<std::int32_t>::max();
        target.emplace(http::range(begin, static_cast<std::size_t>(equals - begin)),
                       static_cast<std::uint32_t>(std::min(parsed, largest)));
    }
};

void take(const entries& read, http::range name, std::uint8_t& flag, std::uint32_t& offset)
{
    const auto found = read.find(name);
    if (found != read.end()) {
        flag = 1;
        offset = found->second;
    }
}

} // namespace

judged_list judge_encapsulated(const std::string& value)
{
    using spirit::ch_p;
    using spirit::digit_p;
    using spirit::space_p;
    using spirit::str_p;

    entries read;
    const store_item action{read};
    using rule = spirit::rule<>;
    const rule gap = *(ch_p(' ') | ch_p('\t'));
    const rule number = +digit_p;
    const rule req_hdr = str_p("req-hdr") >> gap >> ch_p('=') >> gap >> number;
    const rule res_hdr = str_p("res-hdr") >> gap >> ch_p('=') >> gap >> number;
    const rule req_body = str_p("req-body") >> gap >> ch_p('=') >> gap >> number;
    const rule res_body = str_p("res-body") >> gap >> ch_p('=') >> gap >> number;
    const rule opt_body = str_p("opt-body") >> gap >> ch_p('=') >> gap >> number;
    const rule null_body = str_p("null-body") >> gap >> ch_p('=') >> gap >> number;
    const rule entry =
        req_hdr[action] | res_hdr[action] | req_body[action] | res_body[action] | opt_body[action] | null_body[action];
    const rule list = entry >> *(ch_p(',') >> *space_p >> entry);

    const char* const begin = value.data();
    const auto result = spirit::parse(begin, begin + value.size(), list);

    judged_list judged;
    judged.hit = result.hit;
    if (result.hit) {
        judged.length = static_cast<std::size_t>(result.stop - begin);
        icap::encapsulated_offsets& offsets = judged.offsets;
        take(read, "req-hdr", offsets.req_hdr, offsets.req_hdr_offset);
        take(read, "req-body", offsets.req_body, offsets.req_body_offset);
        take(read, "res-hdr", offsets.res_hdr, offsets.res_hdr_offset);
        take(read, "res-body", offsets.res_body, offsets.res_body_offset);
        take(read, "opt-body", offsets.opt_body, offsets.opt_body_offset);
        take(read, "null-body", offsets.null_body, offsets.null_body_offset);
    }
    return judged;
}

} // namespace test
