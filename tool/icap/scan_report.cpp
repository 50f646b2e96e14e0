#include "tool/icap/response_synthesis.h"

#include <sstream>

namespace icap {
namespace {

int resolution(const scan_record& record) noexcept
{
    if ((record.flags & scan_record::not_repaired) != 0) {
        return 0;
    }
    return (record.flags & scan_record::repaired) != 0 ? 1 : 2;
}

std::string last_component(const std::string& path)
{
    const std::size_t separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

} // namespace

std::string format_infection(const scan_record& record)
{
    std::ostringstream text;
    text << "Type=0;Resolution=" << resolution(record) << ";Threat=" << record.name << ';';
    return text.str();
}

std::string format_scan_state(std::uint32_t value)
{
    switch (value) {
    case 1:
        return "scanned";
    case 16:
    case 17:
        return "not scanned";
    case 32:
    case 33:
        return "not scanned password protected";
    default:
        return "undefined";
    }
}

std::string format_violations(const scan_record& record)
{
    std::ostringstream text;
    text << "1\r\n"
         << "\t/" << last_component(record.path) << "\r\n"
         << '\t' << record.name << "\r\n"
         << '\t' << std::to_string(record.size) << "\r\n"
         << '\t' << resolution(record) << "\r\n";
    return text.str();
}

} // namespace icap
