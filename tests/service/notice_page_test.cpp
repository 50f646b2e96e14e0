#include "service/notice_page.h"
#include "service/safe_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace {

using service::notice_page;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::uint32_t big_endian(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(0, 4)) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

/// The checksum at the end of a PNG chunk.
std::uint32_t crc(std::string_view bytes)
{
    std::uint32_t value = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        value ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1U) ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    return ~value;
}

/// Returns the bytes of the page's only image.
std::optional<std::string> inline_image(std::string_view page)
{
    constexpr std::string_view mark = "src=\"data:image/png;base64,";
    const std::size_t begin = page.find(mark);
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = page.substr(begin + mark.size());
    return service::from_base64(rest.substr(0, rest.find('"')));
}

TEST(notice_page, is_an_html_page_for_light_and_dark_surroundings)
{
    const std::string page = notice_page("Some.Threat", "invoice.pdf");
    EXPECT_THAT(page, StartsWith("<!DOCTYPE html>\n<html lang=\"en\">"));
    EXPECT_THAT(page, HasSubstr("<meta charset=\"utf-8\">"));
    EXPECT_THAT(page, HasSubstr("<meta name=\"color-scheme\" content=\"light dark\">"));
    EXPECT_THAT(page, HasSubstr("@media (prefers-color-scheme: dark)"));
    EXPECT_TRUE(page.ends_with("</html>\n"));
}

TEST(notice_page, names_object_and_threat)
{
    const std::string page = notice_page("Some.Threat", "invoice.pdf");
    EXPECT_THAT(page, HasSubstr("<td>Some.Threat</td>"));
    EXPECT_THAT(page, HasSubstr("<td>invoice.pdf</td>"));
}

TEST(notice_page, keeps_its_bytes)
{
    const std::string page = notice_page("Some.Threat", "invoice.pdf");
    EXPECT_EQ(page.size(), 2210U);
    EXPECT_EQ(crc(page), 0xA478C378U);
}

TEST(notice_page, leaves_out_a_name_that_is_not_known)
{
    const std::string page = notice_page("Some.Threat", "");
    EXPECT_THAT(page, Not(HasSubstr("Name</th>")));
    EXPECT_THAT(page, HasSubstr("Found</th>"));
}

TEST(notice_page, escapes_both_texts)
{
    const std::string page = notice_page("<script>alert(1)</script>", "\"><img src=x onerror='y'>");
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    EXPECT_THAT(page, Not(HasSubstr("onerror='")));
    EXPECT_THAT(page, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;"));
    EXPECT_THAT(page, HasSubstr("&quot;&gt;&lt;img src=x onerror=&#39;y&#39;&gt;"));
}

TEST(notice_page, brings_its_image_and_refers_to_nothing_outside)
{
    const std::string page = notice_page("t", "n");
    for (const std::string_view reference : {"http:", "https:", "url(", "@import", "<link", "<script", "//"}) {
        // Base64 may contain two slashes.
        std::string text = page;
        const std::size_t image = text.find("base64,");
        text.erase(image, text.find('"', image) - image);
        EXPECT_THAT(text, Not(HasSubstr(std::string(reference))));
    }
    EXPECT_EQ(page.find("src="), page.rfind("src="));
}

TEST(notice_page, has_an_image_that_is_a_whole_png)
{
    const auto image = inline_image(notice_page("t", "n"));
    ASSERT_TRUE(image.has_value());
    std::string_view rest = *image;
    ASSERT_THAT(*image, StartsWith(std::string("\x89PNG\r\n\x1A\n")));
    rest.remove_prefix(8);
    std::string kinds;
    while (rest.size() >= 12) {
        const std::uint32_t size = big_endian(rest);
        ASSERT_LE(size, rest.size() - 12);
        const std::string_view checked = rest.substr(4, 4 + size);
        EXPECT_EQ(big_endian(rest.substr(8 + size)), crc(checked)) << checked.substr(0, 4);
        if (checked.starts_with("IHDR")) {
            EXPECT_EQ(big_endian(checked.substr(4)), 96U);
            EXPECT_EQ(big_endian(checked.substr(8)), 96U);
        }
        kinds.append(checked.substr(0, 4)).append(" ");
        rest.remove_prefix(12 + size);
    }
    EXPECT_TRUE(rest.empty());
    EXPECT_THAT(kinds, StartsWith("IHDR "));
    EXPECT_THAT(kinds, HasSubstr("IDAT "));
    EXPECT_TRUE(kinds.ends_with("IEND "));
}

} // namespace
