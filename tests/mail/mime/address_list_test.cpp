#include "mail/mime/reading/address_list.h"
#include "tests/mail/mime/mime_fixture.h"

#include <gtest/gtest.h>

#include <random>

namespace host::test {
namespace {

/// Returns "name <address>" for each mailbox, separated by "|".
std::string addresses(std::string_view value)
{
    std::string text;
    for (const mail_address& who : read_addresses(value)) {
        text += (text.empty() ? "" : "|") + who.name + " <" + who.address + ">";
    }
    return text;
}

std::string repeated(std::string_view piece, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

TEST(address_list, is_read_mailbox_by_mailbox)
{
    EXPECT_EQ(addresses(""), "");
    EXPECT_EQ(addresses(" a@b "), " <a@b>");
    EXPECT_EQ(addresses("Ada <a@b>, Ben Ash <c@d>,\r\n\t<e@f>, g@h (Gus)"), "Ada <a@b>|Ben Ash <c@d>| <e@f>|Gus <g@h>");
    EXPECT_EQ(addresses("=?utf-8?Q?=C3=84da?= <a@b>, =?iso-8859-1?Q?=D6?= <c@d>"), "\u00C4da <a@b>|\u00D6 <c@d>");
    EXPECT_EQ(addresses("postmaster, root"), " <postmaster>| <root>");
}

TEST(address_list, is_not_cut_inside_quotes_comments_literals_and_routes)
{
    EXPECT_EQ(addresses("\"Ash, Ben; (B: \\\"x\\\"\" <a@b>, c@d"), "Ash, Ben; (B: \"x\" <a@b>| <c@d>");
    EXPECT_EQ(addresses("a@b (one, two (three; four): five), c@d"), "one, two (three; four): five <a@b>| <c@d>");
    EXPECT_EQ(addresses("a@[IPv6:2001:db8::1], c@d"), " <a@[IPv6:2001:db8::1]>| <c@d>");
    EXPECT_EQ(addresses("Ada <@x,@y:a@b>, c@d"), "Ada <a@b>| <c@d>");
}

TEST(address_list, has_the_members_of_groups_among_the_others)
{
    EXPECT_EQ(addresses("undisclosed-recipients:;"), "");
    EXPECT_EQ(addresses("a@b, Board: c@d, Eve <e@f>;, g@h"), " <a@b>| <c@d>|Eve <e@f>| <g@h>");
    EXPECT_EQ(addresses("One: a@b, Two: c@d; e@f;"), " <a@b>| <c@d>| <e@f>");
}

TEST(address_list, is_read_as_far_as_it_goes_where_senders_are_careless)
{
    EXPECT_EQ(addresses("Ash, Ben <a@b>, c@d"), "Ash, Ben <a@b>| <c@d>");
    EXPECT_EQ(addresses("a@b;c@d"), " <a@b>| <c@d>");
    EXPECT_EQ(addresses("a@b,,, ,c@d,"), " <a@b>| <c@d>");
    EXPECT_EQ(addresses("<a@b, c@d>"), " <a@b>| <c@d>");
    EXPECT_EQ(addresses("a@b, \"Ash <c@d>, e@f"), " <a@b>|Ash <c@d>| <e@f>");
    EXPECT_EQ(addresses("a@b, (Ash <c@d>, e@f"), " <a@b>| <e@f>");
}

TEST(address_list, takes_no_longer_and_no_deeper_for_what_a_stranger_wrote)
{
    constexpr std::size_t many = 300000;
    EXPECT_EQ(addresses(repeated("a:", many) + "b@c"), " <b@c>");
    EXPECT_EQ(read_addresses(repeated("a,", many)).size(), many);
    EXPECT_EQ(read_addresses(repeated("a b@c,", many)).size(), read_addresses("a b@c").size() * many);
    for (const char* piece : {"(", "\"", "<", "<a:", "<@", "[", "\\", "(a:", "\"a:", "a@b(", "a b,", "a:;", "@", ".",
                              ",<", "a<b", "=?utf-8?Q?", ":(", "[a:"}) {
        read_addresses(repeated(piece, many));
    }
}

TEST(address_list, of_any_signs_ends)
{
    std::mt19937 random(3); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    constexpr std::string_view signs = "ab.@,;:\"\\()<>[] \r\n\t=?\xC3";
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t i = random() % 40; i > 0; --i) {
            text += repeated(signs.substr(random() % signs.size(), 1 + random() % 3), 1 + random() % 5);
        }
        for (const mail_address& who : read_addresses(text)) {
            EXPECT_FALSE(who.name.empty() && who.address.empty()) << text;
        }
    }
}

TEST(mail_headers, with_addresses_of_any_number_and_depth_are_read)
{
    const auto deep = read("To: " + repeated("a:", 200000) + "b@c\nSubject: deep\n\nx\n");
    EXPECT_EQ(wide(deep, PR_SUBJECT_W), L"deep");
    ASSERT_EQ(deep.recipients.size(), 1U);
    EXPECT_EQ(wide(*deep.recipients[0], PR_EMAIL_ADDRESS_W), L"b@c");
    const auto many = read(repeated("To: a@b\nCc: =?utf-8?B?w7w=?= =?utf-8?B?w7w=?= <c@d>\n", 20000) + "\nx\n");
    EXPECT_EQ(many.recipients.size(), 40000U);
    const auto inside = read("Content-Type: message/rfc822\n\nTo: " + repeated("a:", 200000) + "b@c\n\nx\n");
    EXPECT_EQ(inside.attachments.at(0).embedded->recipients.size(), 1U);
}

} // namespace
} // namespace host::test
