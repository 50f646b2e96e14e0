#include "service/engine/clamd_reply.h"

namespace service {

verdict read_clamd_reply(std::string_view reply)
{
    constexpr std::string_view heading = "stream: ";
    constexpr std::string_view found = " FOUND";
    if (reply == "stream: OK") {
        return clean_verdict{};
    }
    if (reply.starts_with(heading) && reply.ends_with(found) && reply.size() > heading.size() + found.size()) {
        reply.remove_prefix(heading.size());
        reply.remove_suffix(found.size());
        if (reply.starts_with("Heuristics.Encrypted.") || reply.starts_with("Heuristics.Limits.Exceeded")) {
            return unchecked_verdict{printable(reply)};
        }
        return blocked_verdict{std::string(reply)};
    }
    if (reply == "INSTREAM size limit exceeded. ERROR") {
        return unchecked_verdict{"larger than the limit of clamd"};
    }
    if (reply.ends_with(" ERROR")) {
        return error_verdict{printable(reply)};
    }
    return error_verdict{"answer not understood: " + printable(reply)};
}

std::string printable(std::string_view text)
{
    std::string result(text.substr(0, 200));
    for (char& byte : result) {
        if (byte < ' ' || byte > '~') {
            byte = '?';
        }
    }
    return result;
}

} // namespace service
