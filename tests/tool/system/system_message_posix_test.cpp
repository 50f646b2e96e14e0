#include "tool/system/system_message.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace {

TEST(system_message, has_a_text_for_each_code_that_the_product_uses)
{
    const std::pair<std::uint32_t, const char*> texts[]{
        {0, "Success.\r\n"},
        {1, "Invalid function.\r\n"},
        {2, "File not found.\r\n"},
        {3, "Path not found.\r\n"},
        {4, "Too many open files.\r\n"},
        {5, "Access denied.\r\n"},
        {6, "Invalid handle.\r\n"},
        {8, "Not enough memory.\r\n"},
        {13, "Invalid data.\r\n"},
        {32, "Sharing violation.\r\n"},
        {50, "Not supported.\r\n"},
        {80, "File exists.\r\n"},
        {87, "Invalid parameter.\r\n"},
        {112, "Disk full.\r\n"},
        {120, "Call not implemented.\r\n"},
        {123, "Invalid name.\r\n"},
        {131, "Negative seek.\r\n"},
        {183, "Already exists.\r\n"},
        {206, "File name too long.\r\n"},
        {223, "File too large.\r\n"},
        {234, "More data available.\r\n"},
        {258, "Wait timed out.\r\n"},
        {995, "Operation aborted.\r\n"},
        {997, "Input or output pending.\r\n"},
        {998, "Invalid access to memory.\r\n"},
        {1006, "File no longer valid.\r\n"},
        {1117, "Device error.\r\n"},
        {1168, "Not found.\r\n"},
        {1317, "No such user.\r\n"},
        {1450, "Not enough system resources.\r\n"},
        {10035, "Operation would block.\r\n"},
        {10038, "Not a socket.\r\n"},
        {10048, "Address in use.\r\n"},
        {10049, "Address not available.\r\n"},
        {10050, "Network down.\r\n"},
        {10051, "Network unreachable.\r\n"},
        {10053, "Connection aborted.\r\n"},
        {10054, "Connection reset.\r\n"},
        {10057, "Not connected.\r\n"},
        {10058, "Socket shut down.\r\n"},
        {10060, "Connection timed out.\r\n"},
        {10061, "Connection refused.\r\n"},
        {10065, "Host unreachable.\r\n"},
        {10107, "System call failure.\r\n"},
    };
    for (const auto& [code, text] : texts) {
        EXPECT_EQ(winapi::system_message(code), text) << code;
    }
}

} // namespace
