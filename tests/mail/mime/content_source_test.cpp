#include "mail/mime/text/content_source.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "store/property_stream.h"
#include "store/property_value.h"
#include "tests/outlook/qdmailprotect/support/scripted_stream.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <string>

namespace host {
namespace {

std::string read_all(content_source& content, std::size_t step)
{
    std::string text;
    std::string block(step, '\0');
    while (const std::size_t got = content.read(block.data(), step)) {
        text.append(block, 0, got);
    }
    return text;
}

ComPtr<IStream> stream_of(std::string text)
{
    return make_property_stream(std::make_shared<stream_state>(bytes_of(std::move(text)), PT_BINARY), nullptr, 0,
                                false);
}

/// Returns UTF-16LE as UTF-8, read in blocks of `step` bytes.
std::string as_utf8(const std::string& utf16le, std::size_t step = 100)
{
    const content_ptr content = utf8_content(text_content(utf16le));
    return read_all(*content, step);
}

TEST(contents, of_a_stream_are_its_bytes_from_where_it_stands)
{
    const content_ptr content = stream_content(stream_of("abcdef"));
    EXPECT_EQ(read_all(*content, 4), "abcdef");
    content->rewind();
    EXPECT_EQ(read_all(*content, 100), "abcdef");
}

TEST(contents, of_a_failing_stream_raise_its_result)
{
    ::test::scripted_store store;
    const content_ptr content = stream_content(MakeCom<::test::scripted_stream>(store, "stream", stream_of("abcdef")));
    char byte = 0;
    store.fail("stream.Read", MAPI_E_CORRUPT_DATA);
    try {
        content->read(&byte, 1);
        FAIL() << "a failed read was no failure";
    } catch (const ComError& failure) {
        EXPECT_EQ(failure.Error(), MAPI_E_CORRUPT_DATA);
    }
    store.clear();
    store.fail("stream.Seek", E_ACCESSDENIED);
    EXPECT_THROW(content->rewind(), ComError);
}

TEST(contents, in_utf_16_become_utf_8)
{
    const std::wstring text = L"a\u00E4\u0800\uFFFD\U00010000\U0010FFFFz";
    EXPECT_EQ(as_utf8(to_utf16le(text)), winapi::conv_to_char(text, winapi::code_page_utf8));
}

TEST(contents, in_utf_16_that_is_not_well_formed_have_a_replacement)
{
    const std::string lead("\x00\xD8", 2);
    const std::string trail("\x00\xDC", 2);
    const std::string a("a\0", 2);
    EXPECT_EQ(as_utf8(lead + a), "\xEF\xBF\xBD"
                                 "a");
    EXPECT_EQ(as_utf8(trail + a), "\xEF\xBF\xBD"
                                  "a");
    EXPECT_EQ(as_utf8(lead + lead + trail), "\xEF\xBF\xBD\xF0\x90\x80\x80");
    EXPECT_EQ(as_utf8(a + lead), "a\xEF\xBF\xBD");
    EXPECT_EQ(as_utf8(a + "b"), "a") << "half a character at the end is none";
}

TEST(contents, are_the_same_however_they_are_cut)
{
    std::wstring text;
    for (int i = 0; i < 20000; ++i) {
        text += i % 3 == 0 ? L"\U0001F600" : i % 5 == 0 ? L"\u00FC " : L"x\r\n";
    }
    const std::string utf8 = winapi::conv_to_char(text, winapi::code_page_utf8);
    for (const std::size_t step : {1U, 3U, 4096U, 1U << 20U}) {
        EXPECT_EQ(as_utf8(to_utf16le(text), step), utf8) << step;
    }
    const content_ptr whole = quoted_content(text_content(utf8));
    const std::string expected = read_all(*whole, 1U << 20U);
    whole->rewind();
    EXPECT_EQ(read_all(*whole, 7), expected);
}

TEST(contents, can_be_read_again_after_a_part_of_them)
{
    const content_ptr content = quoted_content(utf8_content(text_content(std::string("=\0\x00\xD8", 4))));
    char byte = 0;
    EXPECT_EQ(content->read(&byte, 1), 1U);
    content->rewind();
    EXPECT_EQ(read_all(*content, 100), "=3D=EF=BF=BD=\r\n");
}

} // namespace
} // namespace host
