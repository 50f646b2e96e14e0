#include "outlook/qdmailprotect/disinfection/inline_images.h"
#include "outlook/qdmailprotect/mapi/mapi.h"
#include "tests/support/log_capture.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace inline_images_test {

using boost::archive::iterators::dataflow_exception;

const std::string Gif = "R0lGODlhAQABAAAAACwAAAAAAQABAAA=";

/// The result of a conversion.
struct converted
{
    std::string html;
    std::vector<AttachmentResult> images;
};

converted convert(std::string html)
{
    converted result{std::move(html), {}};
    ExtractInlineImages(result.html, result.images);
    return result;
}

std::string content_id(const std::string& number)
{
    return "qdimg" + number + ".png@51444D41494C.5A52544D3130";
}

std::string text_of(const std::vector<std::byte>& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool is_empty(const AttachmentResult& record)
{
    return record.attachMethod == 0 && record.mimeTag.empty() && record.fileName.empty() && record.contentId.empty() &&
           record.data.empty();
}

TEST(inline_images, turns_a_gif_into_a_png_named_attachment)
{
    const auto result = convert("<img src=\"data:image/gif;base64," + Gif + "\" alt=\"x\">");
    EXPECT_EQ(result.html, "<img src=\"cid:qdimg0001.png@51444D41494C.5A52544D3130\" alt=\"x\">");
    ASSERT_EQ(result.images.size(), 1U);
    const AttachmentResult& image = result.images[0];
    EXPECT_EQ(image.attachMethod, static_cast<std::uint32_t>(ATTACH_BY_VALUE));
    EXPECT_EQ(image.mimeTag, "image/gif");
    EXPECT_EQ(image.fileName, L"qdimg0001.png");
    EXPECT_EQ(image.contentId, L"qdimg0001.png@51444D41494C.5A52544D3130");
    EXPECT_EQ(text_of(image.data), std::string("GIF89a\1\0\1\0\0\0\0\x2C\0\0\0\0\1\0\1\0\0", 23));
    EXPECT_EQ(image.attachNumber, 0U);
    EXPECT_EQ(image.scanResult, ScanResult::None);
    EXPECT_FALSE(image.deleted);
    EXPECT_EQ(image.noticeHtml, "");
}

TEST(inline_images, leave_a_text_without_any_as_it_is)
{
    for (const std::string html :
         {"", "<p>No images</p>", "src=\"data:image/gif;base64,AAAA\"", " src=\"data", "<img src=\"cid:a@b\">"}) {
        const auto result = convert(html);
        EXPECT_EQ(result.html, html);
        EXPECT_TRUE(result.images.empty()) << html;
    }
}

TEST(inline_images, log_nothing)
{
    const test::log_capture log;
    convert("<img src=\"data:image/gif;base64," + Gif + "\"><img src=\"data:\">");
    EXPECT_TRUE(log.lines().empty());
}

TEST(inline_images, with_single_quotes_or_mixed_case_are_no_match)
{
    for (const std::string html :
         {"<img src='data:image/gif;base64,AAAA'>", "<img src=\"DATA:image/gif;base64,AAAA\">",
          "<img SRC=\"data:image/gif;base64,AAAA\">", "<img Src=\"Data:image/gif;base64,AAAA\">",
          "<img\tsrc=\"data:image/gif;base64,AAAA\">", "BACKGROUND: URL(DATA:image/gif;base64,AAAA)"}) {
        const auto result = convert(html);
        EXPECT_EQ(result.html, html);
        EXPECT_TRUE(result.images.empty()) << html;
    }
}

TEST(inline_images, in_upper_case_come_out_in_lower_case)
{
    const auto result = convert("<IMG SRC=\"DATA:image/png;base64,AAAA\">");
    EXPECT_EQ(result.html, "<IMG src=\"cid:" + content_id("0001") + "\">");
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_EQ(result.images[0].mimeTag, "image/png");
}

TEST(inline_images, in_upper_case_are_numbered_behind_those_in_lower_case)
{
    const auto result =
        convert("<i SRC=\"DATA:u/1;base64,AAAA\"><i src=\"data:l/1;base64,AAAA\"><i SRC=\"DATA:u/2;base64,AAAA\">"
                "<i src=\"data:l/2;base64,AAAA\">");
    EXPECT_EQ(result.html, "<i src=\"cid:" + content_id("0003") + "\"><i src=\"cid:" + content_id("0001") +
                               "\"><i src=\"cid:" + content_id("0004") + "\"><i src=\"cid:" + content_id("0002") +
                               "\">");
    std::vector<std::string> tags;
    for (const auto& image : result.images) {
        tags.push_back(image.mimeTag);
    }
    EXPECT_EQ(tags, (std::vector<std::string>{"l/1", "l/2", "u/1", "u/2"}));
}

TEST(inline_images, without_a_marker_are_left_alone)
{
    const std::string html = "<img src=\"data:image/svg+xml,%3Csvg/%3E\">";
    const auto result = convert(html);
    EXPECT_EQ(result.html, html);
    ASSERT_EQ(result.images.size(), 1U) << "the match counts all the same";
    EXPECT_TRUE(is_empty(result.images[0]));
}

TEST(inline_images, take_whatever_stands_before_a_marker_within_fifty_characters_for_the_type)
{
    const auto result = convert("<img src=\"data:x\"> text <b>;base64,AAAA\">");
    EXPECT_EQ(result.html, "<img src=\"cid:" + content_id("0001") + "\">");
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_EQ(result.images[0].mimeTag, "x\"> text <b>");
}

TEST(inline_images, have_types_of_up_to_fifty_characters)
{
    for (const std::size_t size : {0U, 1U, 49U, 50U}) {
        const std::string type(size, 'm');
        const auto result = convert("<img src=\"data:" + type + ";base64,AAAA\">");
        ASSERT_EQ(result.images.size(), 1U);
        EXPECT_EQ(result.images[0].mimeTag, type);
        EXPECT_EQ(result.html, "<img src=\"cid:" + content_id("0001") + "\">") << size;
    }
    for (const std::size_t size : {51U, 52U, 58U, 200U}) {
        const std::string html = "<img src=\"data:" + std::string(size, 'm') + ";base64,AAAA\">";
        const auto result = convert(html);
        EXPECT_EQ(result.html, html) << size;
        ASSERT_EQ(result.images.size(), 1U);
        EXPECT_TRUE(is_empty(result.images[0]));
    }
}

TEST(inline_images, without_an_end_keep_their_type_and_stay)
{
    for (const auto& [html, type] :
         {std::pair<std::string, std::string>{"<img src=\"data:image/gif;base64,AAAA", "image/gif"},
          {"<i SRC=\"DATA:image/gif;base64,AAAA>", "image/gif"},
          {"style='background: url(data:a/b;base64,AAAA'", "a/b"}}) {
        const auto result = convert(html);
        EXPECT_EQ(result.html, html);
        ASSERT_EQ(result.images.size(), 1U);
        EXPECT_EQ(result.images[0].attachMethod, static_cast<std::uint32_t>(ATTACH_BY_VALUE));
        EXPECT_EQ(result.images[0].mimeTag, type);
        EXPECT_TRUE(result.images[0].fileName.empty());
        EXPECT_TRUE(result.images[0].contentId.empty());
        EXPECT_TRUE(result.images[0].data.empty());
    }
}

TEST(inline_images, that_are_rejected_use_their_number_up)
{
    const auto result = convert("<i src=\"data:none\"> and a long way to the next marker, fifty characters at least, "
                                "<i src=\"data:a/b;base64,AAAA\">");
    ASSERT_EQ(result.images.size(), 2U);
    EXPECT_TRUE(is_empty(result.images[0]));
    EXPECT_EQ(result.images[1].fileName, L"qdimg0002.png");
    EXPECT_NE(result.html.find("src=\"data:none\""), std::string::npos);
    EXPECT_NE(result.html.find("src=\"cid:" + content_id("0002") + "\""), std::string::npos);
}

TEST(inline_images, inside_the_type_of_another_are_swallowed_by_it)
{
    const auto result = convert("<i src=\"data:a src=\"data:b/c;base64,AAAA\">");
    EXPECT_EQ(result.html, "<i src=\"cid:" + content_id("0001") + "\">");
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_EQ(result.images[0].mimeTag, "a src=\"data:b/c");
}

TEST(inline_images, inside_a_rejected_one_are_found)
{
    // The marker is too far from the first prefix and close enough to the second.
    const std::string filler(45, 'x');
    const auto result = convert("<i src=\"data:" + filler + " src=\"data:b/c;base64,AAAA\">");
    EXPECT_EQ(result.html, "<i src=\"data:" + filler + " src=\"cid:" + content_id("0002") + "\">");
    ASSERT_EQ(result.images.size(), 2U);
    EXPECT_TRUE(is_empty(result.images[0]));
    EXPECT_EQ(result.images[1].mimeTag, "b/c");
}

TEST(inline_images, of_a_later_sweep_see_the_text_that_an_earlier_one_left)
{
    // The replacement by the first pass has 49 characters; with the quote after it, it is a type of 50.
    const auto result = convert("<i SRC=\"DATA: src=\"data:x;base64,AAAA\";base64,BBBB\">");
    EXPECT_EQ(result.html, "<i src=\"cid:" + content_id("0002") + "\">");
    ASSERT_EQ(result.images.size(), 2U);
    EXPECT_EQ(result.images[0].mimeTag, "x");
    EXPECT_EQ(result.images[1].mimeTag, " src=\"cid:" + content_id("0001") + "\"");
    const auto longer = convert("<i SRC=\"DATA: src=\"data:x;base64,AAAA\" ;base64,BBBB\">");
    EXPECT_EQ(longer.html, "<i SRC=\"DATA: src=\"cid:" + content_id("0001") + "\" ;base64,BBBB\">");
    ASSERT_EQ(longer.images.size(), 2U);
    EXPECT_TRUE(is_empty(longer.images[1]));
}

TEST(inline_images, of_the_style_form_are_converted_once)
{
    const auto result = convert("<a style='background: url(data:a/1;base64,AAAA)'>"
                                "<a style='background: url(data:a/2;base64,BBBB)'>");
    EXPECT_EQ(result.html, "<a style='background: url(cid:" + content_id("0001") +
                               ")'><a style='background: url(data:a/2;base64,BBBB)'>");
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_EQ(result.images[0].mimeTag, "a/1");
}

TEST(inline_images, of_the_style_form_are_not_looked_for_behind_a_rejected_one)
{
    const std::string html = "background: url(data:none) and a long way to the next marker, fifty characters at least "
                             "background: url(data:a/2;base64,BBBB)";
    const auto result = convert(html);
    EXPECT_EQ(result.html, html);
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_TRUE(is_empty(result.images[0]));
}

TEST(inline_images, of_the_style_form_are_numbered_behind_all_others)
{
    const auto result =
        convert("background: url(data:s/s;base64,AAAA) <i src=\"data:l/1;base64,AAAA\"><i src=\"data:l/2;base64,AAAA\">"
                "<i SRC=\"DATA:u/1;base64,AAAA\">");
    ASSERT_EQ(result.images.size(), 4U);
    EXPECT_EQ(result.images[3].fileName, L"qdimg0004.png");
    EXPECT_EQ(result.images[3].mimeTag, "s/s");
    EXPECT_EQ(result.html.rfind("background: url(cid:" + content_id("0004") + ")", 0), 0U);
}

TEST(inline_images, hold_data_of_up_to_a_mebibyte_of_text)
{
    constexpr std::size_t limit = 0x100000;
    const auto result = convert("<img src=\"data:a/b;base64," + std::string(limit, 'A') + "\">");
    EXPECT_EQ(result.html, "<img src=\"cid:" + content_id("0001") + "\">");
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_EQ(result.images[0].data.size(), limit / 4 * 3);

    const std::string html = "<img src=\"data:a/b;base64," + std::string(limit + 1, 'A') + "\">";
    const auto rejected = convert(html);
    EXPECT_TRUE(rejected.html == html);
    ASSERT_EQ(rejected.images.size(), 1U);
    EXPECT_EQ(rejected.images[0].mimeTag, "a/b");
    EXPECT_TRUE(rejected.images[0].fileName.empty());
}

TEST(inline_images, of_the_style_form_obey_the_same_limits)
{
    constexpr std::size_t limit = 0x100000;
    EXPECT_EQ(convert("background: url(data:" + std::string(50, 'm') + ";base64," + std::string(limit, 'A') + ")").html,
              "background: url(cid:" + content_id("0001") + ")");
    for (const std::string& html : {"background: url(data:" + std::string(51, 'm') + ";base64,AAAA)",
                                    "background: url(data:a/b;base64," + std::string(limit + 1, 'A') + ")"}) {
        EXPECT_TRUE(convert(html).html == html);
    }
}

TEST(inline_images, without_any_data_are_converted_into_an_empty_record)
{
    const auto result = convert("<img src=\"data:a/b;base64,\">");
    EXPECT_EQ(result.html, "<img src=\"cid:" + content_id("0001") + "\">");
    ASSERT_EQ(result.images.size(), 1U);
    EXPECT_EQ(result.images[0].fileName, L"qdimg0001.png");
    EXPECT_TRUE(result.images[0].data.empty());
}

TEST(inline_images, with_an_invalid_character_raise_the_decoders_error)
{
    for (const std::string data : {"AA*A", "AAAA AAAA", "AAAA\r\nAAAA", "A", "AAAAA", "AA\xC3\xA4"}) {
        std::string html = "<img src=\"data:a/b;base64," + data + "\">";
        std::vector<AttachmentResult> images;
        EXPECT_THROW(ExtractInlineImages(html, images), dataflow_exception) << data;
    }
}

TEST(inline_images, beyond_65535_have_numbers_of_five_digits)
{
    std::string html;
    for (int i = 0; i < 65536; ++i) {
        html += " src=\"data:;base64,AAAA\"";
    }
    const auto result = convert(std::move(html));
    ASSERT_EQ(result.images.size(), 65536U);
    EXPECT_EQ(result.images[0xABCD - 1].fileName, L"qdimgABCD.png");
    EXPECT_EQ(result.images[65534].fileName, L"qdimgFFFF.png");
    EXPECT_EQ(result.images[65535].fileName, L"qdimg10000.png");
    EXPECT_EQ(result.images[65535].contentId, L"qdimg10000.png@51444D41494C.5A52544D3130");
    const std::string last = " src=\"cid:" + content_id("10000") + "\"";
    EXPECT_EQ(result.html.substr(result.html.size() - last.size()), last);
}

} // namespace inline_images_test
