#include "tool/wproxy/socket_address.h"
#include "tool/wproxy/socket_platform.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

namespace {

TEST(SocketAddress, HasTheBytesOfASockaddr)
{
    const auto address = web::make_socket_address(0x7F000001, 1344);
    std::array<unsigned char, 16> bytes{};
    std::memcpy(bytes.data(), &address, sizeof address);
    EXPECT_EQ(bytes, (std::array<unsigned char, 16>{2, 0, 5, 64, 127, 0, 0, 1}));
    EXPECT_EQ(web::host_number(address), 0x7F000001U);
    EXPECT_EQ(web::port_number(address), 1344U);
}

TEST(SocketAddress, IsReadFromText)
{
    web::socket_address address;
    ASSERT_EQ(web::string_to_address(L"127.0.0.1:1344", address), 0U);
    EXPECT_EQ(web::host_number(address), 0x7F000001U);
    EXPECT_EQ(web::port_number(address), 1344U);
    EXPECT_EQ(address.family, 2U);
    ASSERT_EQ(web::string_to_address(L"255.254.0.1:65535", address), 0U);
    EXPECT_EQ(web::host_number(address), 0xFFFE0001U);
    EXPECT_EQ(web::port_number(address), 65535U);
    ASSERT_EQ(web::string_to_address(L"10.0.0.1", address), 0U);
    EXPECT_EQ(web::port_number(address), 0U);
}

TEST(SocketAddress, RefusesOtherTextAndStaysAsItWas)
{
    auto address = web::make_socket_address(1, 2);
    for (const auto* text : {L"", L"localhost:80", L"127.0.0.1:", L"127.0.0.1:65536", L"256.0.0.1:80", L"127.0.0.1:80x",
                             L"127.0.0.x:80", L"::1"}) {
        EXPECT_EQ(web::string_to_address(text, address), 10022U) << std::string(text, text + std::wcslen(text));
    }
    EXPECT_EQ(web::host_number(address), 1U);
    EXPECT_EQ(web::port_number(address), 2U);
}

TEST(SocketAddress, IsWrittenAsTextWithThePortIfThereIsOne)
{
    auto& platform = web::system_socket_platform();
    std::array<char, 32> text{};
    std::uint32_t size = text.size();
    ASSERT_EQ(platform.address_to_string(web::make_socket_address(0x7F000001, 1344), text.data(), size), 0U);
    EXPECT_STREQ(text.data(), "127.0.0.1:1344");
    EXPECT_EQ(size, 15U);
    size = text.size();
    ASSERT_EQ(platform.address_to_string(web::make_socket_address(0x7F000001, 0), text.data(), size), 0U);
    EXPECT_STREQ(text.data(), "127.0.0.1");
    EXPECT_EQ(size, 10U);
}

TEST(SocketAddress, TellsTheSizeThatItsTextNeeds)
{
    auto& platform = web::system_socket_platform();
    std::array<char, 32> text{};
    std::uint32_t size = 9;
    EXPECT_EQ(platform.address_to_string(web::make_socket_address(0x7F000001, 0), text.data(), size), 10014U);
    EXPECT_EQ(size, 10U);
    EXPECT_EQ(platform.address_to_string(web::make_socket_address(0x7F000001, 0), text.data(), size), 0U);
    EXPECT_STREQ(text.data(), "127.0.0.1");
}

} // namespace
