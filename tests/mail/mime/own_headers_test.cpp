#include "mail/mime/text/own_headers.h"
#include "mail/mime/text/property_text.h"
#include "mail/mime/text/storage_text.h"
#include "tests/mail/mime/mime_fixture.h"

#include <cmath>
#include <limits>
#include <random>

namespace host::test {
namespace {

/// Returns a value of each kind that the store supports, including the limits.
std::vector<std::pair<std::uint32_t, property_value>> values_of_every_kind()
{
    auto tree = std::make_shared<storage_tree>();
    tree->class_id = GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    tree->streams.push_back({"\x01Ole", bytes_of(std::string("\0\1\2", 3))});
    tree->streams.push_back({"empty", bytes_of({})});
    auto inner = std::make_shared<storage_tree>();
    inner->streams.push_back({"deep", bytes_of(std::string(5000, 'd'))});
    tree->storages.push_back({"inner; = %", inner});

    const auto list = [](std::uint32_t type, auto values) { return property_value{type | MV_FLAG, std::move(values)}; };
    std::vector<property_value> values{
        {PT_NULL, {}},
        {PT_I2, std::int64_t{-32768}},
        property_value::of_long(-1),
        property_value::of_long(2147483647),
        property_value::of_bool(true),
        property_value::of_bool(false),
        property_value::of_time(0xFFFFFFFFFFFFFFFFU),
        {PT_I8, std::numeric_limits<std::int64_t>::min()},
        {PT_CURRENCY, std::int64_t{10000}},
        {PT_R4, 0.5},
        {PT_DOUBLE, -0.0},
        {PT_DOUBLE, std::nan("7")},
        {PT_APPTIME, 45000.25},
        {PT_CLSID, GUID{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}}},
        property_value::of_text(L""),
        property_value::of_text(L"a;b=c%d,e \t\r\n\u00E4\U0001F600\x01"),
        property_value::of_text(std::wstring(L"nul\0inside", 10)),
        property_value::of_text(std::wstring(1, static_cast<wchar_t>(0xD800))),
        property_value::of_text(std::wstring(3000, L'\u4E00')),
        property_value::of_binary(bytes_of({})),
        property_value::of_binary(bytes_of(std::string(70000, '\xFF'))),
        {PT_STRING8, bytes_of("narrow; \xE4")},
        {PT_OBJECT, {}},
        {PT_OBJECT, storage_ptr(tree)},
        list(PT_LONG, std::vector<std::int64_t>{}),
        list(PT_LONG, std::vector<std::int64_t>{1, -2}),
        list(PT_DOUBLE, std::vector<double>{0.1, std::numeric_limits<double>::infinity()}),
        list(PT_CLSID, std::vector<GUID>{GUID{}, IID_IUnknown}),
        list(PT_UNICODE, std::vector<std::wstring>{L"", L"a,b;c", L"\u00FC"}),
        list(PT_UNICODE, std::vector<std::wstring>{}),
        list(PT_BINARY, std::vector<std::string>{"", std::string("\0;", 2)}),
    };
    property_value coded{PT_STRING8, bytes_of("\xC3\xC4")};
    coded.code_page = 1251;
    values.push_back(coded);
    std::vector<std::pair<std::uint32_t, property_value>> result;
    std::uint32_t id = 0x6600;
    for (property_value& value : values) {
        const std::uint32_t tag = PROP_TAG(value.type, id++);
        result.emplace_back(tag, std::move(value));
    }
    return result;
}

std::string differences(const property_bag& bag, const property_bag& document, const name_table& names,
                        std::uint32_t left_out = 0)
{
    return own_headers::differences({bag, names}, {document, names}, left_out);
}

std::shared_ptr<property_bag> applied(std::string_view list, name_table& names)
{
    auto bag = std::make_shared<property_bag>();
    own_headers::apply(list, names, *bag);
    return bag;
}

TEST(own_headers, carry_values_of_every_kind)
{
    name_table names;
    property_bag bag;
    for (const auto& [tag, value] : values_of_every_kind()) {
        bag.set(tag, value);
    }
    const std::string text = differences(bag, {}, names);
    for (const char c : text) {
        ASSERT_TRUE(c > ' ' && c <= '~') << text;
    }
    const auto again = applied(text, names);
    EXPECT_EQ(again->tags(), bag.tags());
    for (const auto& [tag, value] : values_of_every_kind()) {
        const property_value* found = again->find(PROP_ID(tag));
        ASSERT_NE(found, nullptr) << tag;
        EXPECT_TRUE(same_value(value, *found)) << tag;
        EXPECT_EQ(value.code_page, found->code_page) << tag;
    }
}

TEST(own_headers, carry_named_properties_from_store_to_store)
{
    name_table here;
    name_table there;
    there.id_of({IID_IStream, std::int32_t{9}}, true); // another store assigns other identifiers
    property_bag bag;
    const std::uint32_t by_number = here.id_of({IID_IUnknown, std::int32_t{-5}}, true);
    const std::uint32_t by_text = here.id_of({PS_INTERNET_HEADERS, L"a/b #; \u00E4"}, true);
    const std::uint32_t by_number_text = here.id_of({IID_IUnknown, L"#7"}, true);
    bag.set(PROP_TAG(PT_LONG, by_number), property_value::of_long(1));
    bag.set(PROP_TAG(PT_UNICODE, by_text), property_value::of_text(L"two"));
    bag.set(PROP_TAG(PT_LONG, by_number_text), property_value::of_long(3));
    const auto again = applied(differences(bag, {}, here), there);
    const auto value = [&](const property_name& name) { return again->find(there.id_of(name, false)); };
    ASSERT_NE(value({IID_IUnknown, std::int32_t{-5}}), nullptr);
    EXPECT_EQ(value({IID_IUnknown, std::int32_t{-5}})->number(), 1);
    ASSERT_NE(value({PS_INTERNET_HEADERS, L"a/b #; \u00E4"}), nullptr);
    EXPECT_EQ(value({PS_INTERNET_HEADERS, L"a/b #; \u00E4"})->wide(), L"two");
    ASSERT_NE(value({IID_IUnknown, L"#7"}), nullptr);
    EXPECT_EQ(value({IID_IUnknown, L"#7"})->number(), 3);
}

TEST(own_headers, contain_only_what_the_document_does_not)
{
    name_table names;
    property_bag document;
    document.set(PR_BODY_W, property_value::of_text(L"body"));
    document.set(PR_HTML, property_value::of_binary(bytes_of("<b>")));
    document.set(PR_SUBJECT_W, property_value::of_text(L"s"));
    document.set(PR_SENDER_NAME_W, property_value::of_text(L"Ada"));
    property_bag bag;
    bag.set(PR_BODY_W, property_value::of_text(L"body"));
    bag.set(PR_HTML, property_value::of_binary(bytes_of("<p>")));
    bag.set(tag::importance, property_value::of_long(2));
    bag.set(CHANGE_PROP_TYPE(PR_SENDER_NAME_W, PT_STRING8), property_value{PT_STRING8, bytes_of("Ada")});
    const std::string list = differences(bag, document, names);
    EXPECT_EQ(list, "!0037001F;00170003=n2;0C1A001E=bQWRh;10130102=bPHA+");
    EXPECT_EQ(differences(bag, document, names, PROP_ID(PR_HTML)), "!0037001F;00170003=n2;0C1A001E=bQWRh");
    EXPECT_EQ(differences(bag, bag, names), "");
    own_headers::apply(list, names, document);
    EXPECT_EQ(differences(bag, document, names), "");
}

TEST(own_headers, contain_narrow_text_of_another_code_page)
{
    name_table names;
    property_bag document;
    document.set(CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8), property_value{PT_STRING8, bytes_of("\xE4")});
    property_bag bag;
    property_value cyrillic{PT_STRING8, bytes_of("\xE4")};
    cyrillic.code_page = 1251;
    bag.set(CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8), cyrillic);
    EXPECT_EQ(differences(bag, document, names), "0037001E=c1251:5A==");
}

TEST(own_headers, are_read_with_blanks_in_them)
{
    name_table names;
    const auto bag = applied(" 0037001F=tMin\r\n\tutes;\r\n 00170003 =n2 ", names);
    EXPECT_EQ(bag->find(PROP_ID(PR_SUBJECT_W))->wide(), L"Minutes");
    EXPECT_EQ(number(*bag, tag::importance), 2);
}

TEST(own_headers, that_cannot_be_understood_are_left_out)
{
    name_table names;
    for (const char* text : {"",
                             ";",
                             "=",
                             "0037001F",
                             "0037001F=",
                             "0037001F=x1",
                             "37001F=tx",
                             "00037001F=tx",
                             "ZZ37001F=tx",
                             "8001001F=tx",
                             "{876FC580-B672-40CF-B853-5D1F000D0FD6}=n1",
                             "{876FC580-B672-40CF-B853-5D1F000D0FD6}/#1=n1",
                             "{876FC580-B672-40CF-B853-5D1F000D0FD6}/#x/0003=n1",
                             "{876FC580-B672-40CF-B853-5D1F000D0FD6}/#1/10003=n1",
                             "{876FC580B67240CFB8535D1F000D0FD6}/#1/0003=n1",
                             "00170003=n",
                             "00170003=nx",
                             "00170003=n1x",
                             "00170003=n99999999999999999999",
                             "3FE40005=rxyz",
                             "3FE40048=g{}",
                             "3FE41003=N1",
                             "3FE41003=N1,x,",
                             "3FE4000D=oAAAA",
                             "1000001E=c125b:5A==",
                             "1000001F=@",
                             "!",
                             "!0037001F",
                             "!nonsense",
                             "0037001F=n5",
                             "0037001E=n5",
                             "0037001F=-",
                             "0037001F=bAAAA",
                             "00170003=tone",
                             "10130102=t5",
                             "10130102=Tx,",
                             "3FE40005=n5",
                             "3FE40048=bAAAA",
                             "3FE41003=n1",
                             "3FE41003=Tx,",
                             "3FE4101F=N1,",
                             "3FE41102=T1,"}) {
        EXPECT_TRUE(applied(text, names)->tags().empty()) << text;
    }
    const auto rest = applied("0037001F=tgood;=;nonsense;00170003=n1", names);
    EXPECT_EQ(rest->tags().size(), 2U) << "the others still count";
}

TEST(own_headers, with_damage_never_do_more_than_lose_values)
{
    std::mt19937 random(5); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same damage every time
    name_table names;
    property_bag bag;
    for (const auto& [tag, value] : values_of_every_kind()) {
        if (value.size() < 1000) {
            bag.set(tag, value);
        }
    }
    const std::string good = differences(bag, {}, names);
    for (int round = 0; round < 3000; ++round) {
        std::string text = good;
        for (int i = 0; i < 4; ++i) {
            const std::size_t at = random() % text.size();
            switch (random() % 3) {
            case 0:
                text[at] = static_cast<char>(' ' + random() % 95);
                break;
            case 1:
                text.erase(at, random() % 20);
                break;
            default:
                text.insert(at, text.substr(random() % text.size(), random() % 20));
                break;
            }
        }
        name_table fresh;
        const auto found = applied(text, fresh);
        ASSERT_LE(found->tags().size(), bag.tags().size() + 8);
        differences(*found, {}, fresh); // any result can be written again
    }
}

TEST(own_headers, number_the_attachments)
{
    std::string_view rest = "number=17;0037001F=tx";
    EXPECT_EQ(own_headers::take_number(rest, "part"), std::nullopt);
    EXPECT_EQ(own_headers::take_number(rest, "number"), 17U);
    EXPECT_EQ(rest, "0037001F=tx");
    rest = "number=4294967295";
    EXPECT_EQ(own_headers::take_number(rest, "number"), 4294967295U);
    EXPECT_TRUE(rest.empty());
    for (const std::string_view bad : {"number=", "number=x;", "number=-1;", "number=4294967296;"}) {
        rest = bad;
        EXPECT_EQ(own_headers::take_number(rest, "number"), std::nullopt) << bad;
        EXPECT_TRUE(rest.empty()) << bad;
    }
    for (const std::string_view other : {"", "0037001F=tx", "number", "numbers=1"}) {
        rest = other;
        EXPECT_EQ(own_headers::take_number(rest, "number"), std::nullopt) << other;
        EXPECT_EQ(rest, other);
    }
}

TEST(own_headers, are_known_by_their_names_in_any_case)
{
    EXPECT_TRUE(own_headers::is_own("X-Postwarden-Verdict"));
    EXPECT_TRUE(own_headers::is_own("x-postwarden-anything"));
    EXPECT_FALSE(own_headers::is_own("X-Postwarden"));
    EXPECT_FALSE(own_headers::is_own("X-Mailer"));
    EXPECT_FALSE(own_headers::is_own(""));
}

TEST(own_headers, tell_the_verdict_as_a_number)
{
    message_record message;
    EXPECT_EQ(own_headers::find_verdict(message), std::nullopt);
    own_headers::set_verdict(message, "no number");
    EXPECT_EQ(own_headers::find_verdict(message), std::nullopt);
    own_headers::set_verdict(message, "2");
    ASSERT_TRUE(own_headers::find_verdict(message));
    EXPECT_EQ(own_headers::find_verdict(message)->number, 2);
}

/// Returns `count` nested storages.
storage_ptr nested_storages(std::size_t count)
{
    auto tree = std::make_shared<storage_tree>();
    if (count > 1) {
        tree->storages.push_back({"inner", nested_storages(count - 1)});
    }
    return tree;
}

TEST(storage_text, holds_as_many_storages_in_one_another_as_a_message_file)
{
    const storage_ptr deepest = nested_storages(deepest_storage);
    const storage_ptr again = parse_storage_text(storage_text(*deepest));
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(same_storage(*deepest, *again));
    EXPECT_EQ(parse_storage_text(storage_text(*nested_storages(deepest_storage + 1))), nullptr);
}

TEST(storage_text, that_is_damaged_is_no_storage)
{
    storage_tree tree;
    tree.streams.push_back({"name", bytes_of("contents")});
    const std::string text = storage_text(tree);
    ASSERT_NE(parse_storage_text(text), nullptr);
    EXPECT_TRUE(same_storage(tree, *parse_storage_text(text)));
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_EQ(parse_storage_text(std::string_view(text).substr(0, size)), nullptr) << size;
    }
    EXPECT_EQ(parse_storage_text(text + "x"), nullptr);
}

} // namespace
} // namespace host::test
