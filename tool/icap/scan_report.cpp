#include "tool/icap/response_synthesis.h"

namespace icap {
namespace {

std::string resolution(const scan_record& record)
{
    if ((record.flags & scan_record::not_repaired) != 0) {
        return "0";
    }
    return (record.flags & scan_record::repaired) != 0 ? "1" : "2";
}

std::string last_component(const std::string& path)
{
    const std::size_t separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

} // namespace

std::string format_infection(const scan_record& record)
{
    return "Type=0;Resolution=" + resolution(record) + ";Threat=" + record.name + ";";
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
    std::string text = "1\r\n";
    text += "\t/" + last_component(record.path) + "\r\n";
    text += "\t" + record.name + "\r\n";
    text += "\t" + std::to_string(record.size) + "\r\n";
    text += "\t" + resolution(record) + "\r\n";
    return text;
}

} // namespace icap
