#include "tests/tool/icap/icap_text.h"
#include "tool/icap/encapsulated.h"

#include <gtest/gtest.h>

namespace {

using icap::encapsulated_offsets;
using icap::read_encapsulated;

TEST(read_encapsulated, stores_flag_and_offset_of_every_entry)
{
    const auto list = read_encapsulated("req-hdr=1, res-hdr=2, req-body=3, res-body=4, opt-body=5, null-body=6");
    ASSERT_TRUE(list);
    const encapsulated_offsets all{1, 1, 1, 1, 1, 1, 1, 3, 2, 4, 5, 6};
    EXPECT_EQ(list->offsets, all);
}

TEST(read_encapsulated, leaves_absent_entries_at_zero)
{
    const auto list = read_encapsulated("null-body=7");
    ASSERT_TRUE(list);
    encapsulated_offsets expected;
    expected.null_body = 1;
    expected.null_body_offset = 7;
    EXPECT_EQ(list->offsets, expected);
}

TEST(read_encapsulated, ignores_what_stands_behind_the_list)
{
    const auto list = read_encapsulated("null-body=0 trailing words");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->length, 11U);
    EXPECT_EQ(list->offsets.null_body, 1);
}

TEST(read_encapsulated, ends_the_list_ahead_of_a_comma_without_an_entry)
{
    const auto list = read_encapsulated("req-hdr=0, unknown=1, req-body=9");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->length, 9U);
    EXPECT_EQ(list->offsets.req_body, 0);
}

TEST(read_encapsulated, takes_any_white_space_behind_a_comma_but_none_ahead_of_it)
{
    const auto behind = read_encapsulated("req-hdr=0,\r\n \t\v\freq-body=9");
    ASSERT_TRUE(behind);
    EXPECT_EQ(behind->offsets.req_body_offset, 9U);
    const auto ahead = read_encapsulated("req-hdr=0 , req-body=9");
    ASSERT_TRUE(ahead);
    EXPECT_EQ(ahead->length, 9U);
    EXPECT_EQ(ahead->offsets.req_body, 0);
}

TEST(read_encapsulated, counts_case_of_names)
{
    EXPECT_FALSE(read_encapsulated("NULL-BODY=0"));
    EXPECT_FALSE(read_encapsulated("Req-hdr=0"));
}

TEST(read_encapsulated, refuses_a_value_without_a_first_entry)
{
    for (const char* value :
         {"", " req-hdr=0", "req-hdr", "req-hdr=", "req-hdr=x", "req-hdr=-1", "=0", ", req-hdr=0"}) {
        EXPECT_FALSE(read_encapsulated(value)) << value;
    }
}

TEST(read_encapsulated, does_not_find_an_entry_with_a_gap_ahead_of_its_equals_sign)
{
    const auto list = read_encapsulated("req-hdr =0, req-body\t= \t40");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->length, 26U);
    EXPECT_EQ(list->offsets, encapsulated_offsets{});
}

TEST(read_encapsulated, takes_a_gap_behind_the_equals_sign)
{
    const auto list = read_encapsulated("req-body= \t 40");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->offsets.req_body_offset, 40U);
}

TEST(read_encapsulated, keeps_the_first_of_two_entries_of_one_name)
{
    const auto list = read_encapsulated("req-hdr=1, req-hdr=2");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->offsets.req_hdr_offset, 1U);
    EXPECT_EQ(list->length, 20U);
}

TEST(read_encapsulated, bounds_an_offset_at_31_bits)
{
    const auto list = read_encapsulated("req-hdr=2147483648, req-body=4294967296");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->offsets.req_hdr_offset, 2147483647U);
    EXPECT_EQ(list->offsets.req_body_offset, 2147483647U);
}

TEST(encapsulated_offsets_record, is_equal_only_with_all_twelve_members)
{
    const encapsulated_offsets zero;
    for (auto flag :
         {&encapsulated_offsets::req_hdr, &encapsulated_offsets::req_body, &encapsulated_offsets::res_hdr,
          &encapsulated_offsets::res_body, &encapsulated_offsets::opt_body, &encapsulated_offsets::null_body}) {
        encapsulated_offsets other;
        other.*flag = 1;
        EXPECT_NE(other, zero);
    }
    for (auto offset : {&encapsulated_offsets::req_hdr_offset, &encapsulated_offsets::req_body_offset,
                        &encapsulated_offsets::res_hdr_offset, &encapsulated_offsets::res_body_offset,
                        &encapsulated_offsets::opt_body_offset, &encapsulated_offsets::null_body_offset}) {
        encapsulated_offsets other;
        other.*offset = 1;
        EXPECT_NE(other, zero);
    }
    EXPECT_EQ(zero, encapsulated_offsets{});
}

class encapsulated_from_messages : public testing::Test
{
protected:
    const std::string get_head = test::head({"GET http://host/ HTTP/1.1"});
    const std::string post_head = test::head({"POST http://host/ HTTP/1.1", "Content-Length: 4"});
    const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 4"});
    const std::string empty_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 0"});

    std::unique_ptr<http::message> get = test::http_message(get_head);
    std::unique_ptr<http::message> post = test::http_message(post_head + "data");
    std::unique_ptr<http::message> page = test::http_message(page_head + "data");
    std::unique_ptr<http::message> empty_page = test::http_message(empty_head);

    static std::string text(http::message* request, http::message* response)
    {
        return icap::encapsulated_text(icap::encapsulated_from_messages(request, response));
    }
    static std::string number(std::size_t value) { return std::to_string(value); }
};

TEST_F(encapsulated_from_messages, tells_a_request_with_a_body)
{
    EXPECT_EQ(text(post.get(), nullptr), "req-hdr=0, req-body=" + number(post_head.size()));
}

TEST_F(encapsulated_from_messages, tells_a_request_without_a_body)
{
    EXPECT_EQ(text(get.get(), nullptr), "req-hdr=0, null-body=" + number(get_head.size()));
}

TEST_F(encapsulated_from_messages, tells_neither)
{
    encapsulated_offsets expected;
    expected.null_body = 1;
    EXPECT_EQ(icap::encapsulated_from_messages(nullptr, nullptr), expected);
}

TEST_F(encapsulated_from_messages, tells_a_response_alone)
{
    EXPECT_EQ(text(nullptr, page.get()), "res-hdr=0, res-body=" + number(page_head.size()));
    EXPECT_EQ(text(nullptr, empty_page.get()), "res-hdr=0, null-body=" + number(empty_head.size()));
}

TEST_F(encapsulated_from_messages, tells_a_bare_request_ahead_of_a_response)
{
    const std::size_t end = get_head.size() + page_head.size();
    EXPECT_EQ(text(get.get(), page.get()),
              "req-hdr=0, res-hdr=" + number(get_head.size()) + ", res-body=" + number(end));
    const std::size_t empty_end = get_head.size() + empty_head.size();
    EXPECT_EQ(text(get.get(), empty_page.get()),
              "req-hdr=0, res-hdr=" + number(get_head.size()) + ", null-body=" + number(empty_end));
}

TEST_F(encapsulated_from_messages, refuses_a_request_body_beside_a_response)
{
    EXPECT_EQ(test::raised<std::runtime_error>([&] { (void)icap::encapsulated_from_messages(post.get(), page.get()); }),
              "'req_body' cannot be placed side-by-side with 'res_body'");
    EXPECT_EQ(
        test::raised<std::runtime_error>([&] { (void)icap::encapsulated_from_messages(post.get(), empty_page.get()); }),
        "'req_body' cannot be placed side-by-side with 'res_body'");
}

TEST(encapsulated_text, writes_entries_in_fixed_order_and_never_opt_body)
{
    encapsulated_offsets offsets;
    offsets.req_hdr = offsets.res_hdr = offsets.res_body = offsets.opt_body = offsets.null_body = 1;
    offsets.res_hdr_offset = 10;
    offsets.res_body_offset = 20;
    offsets.opt_body_offset = 25;
    offsets.null_body_offset = 30;
    EXPECT_EQ(icap::encapsulated_text(offsets), "req-hdr=0, res-hdr=10, res-body=20, null-body=30");
}

TEST(encapsulated_text, refuses_a_request_body_beside_either_entry_of_a_response)
{
    for (auto flag : {&encapsulated_offsets::res_hdr, &encapsulated_offsets::res_body}) {
        encapsulated_offsets offsets;
        offsets.req_hdr = offsets.req_body = 1;
        offsets.*flag = 1;
        EXPECT_EQ(test::raised<std::runtime_error>([&] { (void)icap::encapsulated_text(offsets); }),
                  "'req-body' cannot be placed side-by-side with 'res-body'");
    }
}

TEST(encapsulated_text, puts_a_separator_ahead_of_a_lone_null_body_which_no_reader_takes)
{
    encapsulated_offsets offsets;
    offsets.null_body = 1;
    const std::string text = icap::encapsulated_text(offsets);
    EXPECT_EQ(text, ", null-body=0");
    EXPECT_FALSE(read_encapsulated(text));
}

TEST(encapsulated_text, is_read_back_as_the_same_record)
{
    encapsulated_offsets offsets;
    offsets.req_hdr = offsets.res_hdr = offsets.res_body = 1;
    offsets.res_hdr_offset = 4711;
    offsets.res_body_offset = 16640;
    const auto list = read_encapsulated(icap::encapsulated_text(offsets));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->offsets, offsets);
}

} // namespace
