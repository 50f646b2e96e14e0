#include "mail/msg/layout.h"
#include "mail/msg/name_mapping.h"
#include "store/unreadable_message.h"
#include "tests/mail/msg/msg_fixture.h"

namespace host::test {
namespace name_mapping_test {

constexpr GUID some_set{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};
constexpr GUID mapi_set{0x00020328, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID public_strings{0x00020329, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

std::string le(std::initializer_list<std::uint32_t> numbers)
{
    std::string result;
    for (const std::uint32_t number : numbers) {
        msg::append_u32(result, number);
    }
    return result;
}

storage_ptr mapping(const std::string& guids, const std::string& entries, const std::string& strings,
                    std::vector<storage_tree::stream> more = {})
{
    auto tree = std::make_shared<storage_tree>();
    tree->streams = {{"__substg1.0_00020102", bytes_of(guids)},
                     {"__substg1.0_00030102", bytes_of(entries)},
                     {"__substg1.0_00040102", bytes_of(strings)}};
    tree->streams.insert(tree->streams.end(), more.begin(), more.end());
    return tree;
}

std::string stream_of(const storage_tree& storage, const std::string& name)
{
    for (const auto& stream : storage.streams) {
        if (stream.name == name) {
            return to_string(*stream.contents);
        }
    }
    return "(none)";
}

std::string length_and_text(std::wstring_view text)
{
    std::string utf16 = to_utf16le(text);
    std::string result = le({static_cast<std::uint32_t>(utf16.size())}) + utf16;
    result.resize((result.size() + 3) / 4 * 4, '\0');
    return result;
}

/// Returns a message file's storage with a mapping.
made_object mapped_message(const storage_ptr& names)
{
    return made_object::message().class_id(msg::message_class_id).storage("__nameid_version1.0", names);
}

class NameMapping : public MsgTest
{
protected:
    /// Returns the differences after writing the file again.
    std::string rewriting(const made_object& message) { return rewriting_differs(MsgTest::make(message.build())); }
    message_record read_made(const made_object& message) { return read(MsgTest::make(message.build())); }
};

TEST_F(NameMapping, ComputesTheChecksumOfTheFormat)
{
    EXPECT_EQ(0xFF504E89U, msg::checksum_of_name(to_utf16le(L"x-mailer")));
    EXPECT_EQ(0U, msg::checksum_of_name(""));
}

TEST_F(NameMapping, WritesTheStreamsOfTheFormat)
{
    message_record record;
    const auto set = [&record](const property_name& name, std::int64_t value) {
        record.properties->set(PROP_TAG(PT_LONG, record.store->names.id_of(name, true)),
                               property_value::of_long(value));
    };
    set({verdict_set, 1}, 10);
    set({some_set, L"x-mailer"}, 11);
    set({public_strings, L"Keywords"}, 12);
    set({mapi_set, 0x1234}, 13);
    set({verdict_set, 2}, 14);
    write_msg(record, place());
    const auto root = msg::read_compound_file(place());
    ASSERT_EQ(1U, root->storages.size());
    EXPECT_EQ("__nameid_version1.0", root->storages[0].name);
    const storage_tree& names = *root->storages[0].contents;
    EXPECT_EQ(msg::bytes_of_guid(verdict_set) + msg::bytes_of_guid(some_set), stream_of(names, "__substg1.0_00020102"));
    EXPECT_EQ(le({1, 3U << 1U | 0U << 16U,       // verdict
                  0, 4U << 1U | 1U | 1U << 16U,  // x-mailer
                  20, 2U << 1U | 1U | 2U << 16U, // Keywords
                  0x1234, 1U << 1U | 3U << 16U,  // of MAPI
                  2, 3U << 1U | 4U << 16U}),
              stream_of(names, "__substg1.0_00030102"));
    EXPECT_EQ(length_and_text(L"x-mailer") + length_and_text(L"Keywords"), stream_of(names, "__substg1.0_00040102"));
    // 0x1000 + ((1 ^ 6) % 31) is the look-up stream for number 1 of the first set.
    EXPECT_EQ(le({1, 3U << 1U}), stream_of(names, "__substg1.0_10070102"));
    EXPECT_EQ(le({0xFF504E89U, 4U << 1U | 1U | 1U << 16U}),
              stream_of(names, msg::value_name((0x1000U + (0xFF504E89U ^ 9U) % 31U) << 16U | 0x102U)));
    EXPECT_EQ("", difference(record, read(place())));
}

TEST_F(NameMapping, GivesXMailerOfTheFirstSetItsKnownStream)
{
    message_record record;
    const auto id = record.store->names.id_of({some_set, L"x-mailer"}, true);
    record.properties->set(PROP_TAG(PT_UNICODE, id), property_value::of_text(L"Desk"));
    write_msg(record, place());
    const auto root = msg::read_compound_file(place());
    EXPECT_EQ(le({0xFF504E89U, 7}), stream_of(*root->storages.at(0).contents, "__substg1.0_100F0102"));
}

TEST_F(NameMapping, IsThereAlsoWithoutAName)
{
    write_msg(message_record(), place());
    const auto root = msg::read_compound_file(place());
    ASSERT_EQ(1U, root->storages.size());
    EXPECT_EQ(3U, root->storages[0].contents->streams.size());
}

TEST_F(NameMapping, FindsNamesOfEveryKind)
{
    const auto names = mapping(
        msg::bytes_of_guid(some_set),
        le({7, 3U << 1U | 0U << 16U, 0, 3U << 1U | 1U | 1U << 16U, 8, 1U << 1U | 2U << 16U, 9, 2U << 1U | 3U << 16U}),
        length_and_text(L"Größe"));
    const auto file = mapped_message(names)
                          .entry(0x80000003, 1)
                          .entry(0x80010003, 2)
                          .entry(0x80020003, 3)
                          .entry(0x80030003, 4)
                          .attachment(0, made_object::part().entry(0x80000003, 5))
                          .recipient(0, made_object::part().entry(0x80010003, 6));
    const message_record record = read_made(file);
    const auto number = [&](const property_name& name, const property_bag& bag) {
        const auto id = record.store->names.id_of(name, false);
        return id == 0 ? -1 : property(bag, PROP_TAG(PT_LONG, id)).number();
    };
    EXPECT_EQ(1, number({some_set, 7}, *record.properties));
    EXPECT_EQ(2, number({some_set, L"Größe"}, *record.properties));
    EXPECT_EQ(3, number({mapi_set, 8}, *record.properties));
    EXPECT_EQ(4, number({public_strings, 9}, *record.properties));
    EXPECT_EQ(5, number({some_set, 7}, *record.attachments.at(0).properties));
    EXPECT_EQ(6, number({some_set, L"Größe"}, *record.recipients.at(0)));
    EXPECT_EQ("", rewriting(file));
}

TEST_F(NameMapping, StaysAsItIsWhileNoNameIsAdded)
{
    // Unused names, an entry that skips numbers, a duplicate name, and streams of another program.
    const auto names = mapping(msg::bytes_of_guid(some_set) + msg::bytes_of_guid(verdict_set),
                               le({7, 3U << 1U, 7, 3U << 1U | 5U << 16U, 0, 3U << 1U | 1U | 9U << 16U}),
                               length_and_text(L"odd") + "rest", {{"__substg1.0_10050102", bytes_of("whatever")}});
    const auto file = mapped_message(names).entry(0x80050003, 1).entry(0x80090003, 2).entry(0x80020003, 3);
    EXPECT_EQ("", rewriting(file));
}

TEST_F(NameMapping, TakesANewNameWithoutMovingTheOldOnes)
{
    const auto names =
        mapping(msg::bytes_of_guid(some_set), le({7, 3U << 1U, 0, 3U << 1U | 1U | 1U << 16U}), length_and_text(L"old"));
    message_record record = read_made(mapped_message(names)
                                          .entry(0x80000003, 1)
                                          .entry(0x80010003, 2)
                                          .attachment(0, made_object::part().entry(0x80010003, 3)));
    const auto id = record.store->names.id_of({verdict_set, 1}, true);
    record.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(2));
    write_msg(record, place("again.msg"));
    EXPECT_EQ("", difference(record, read(place("again.msg"))));
    const auto root = msg::read_compound_file(place("again.msg"));
    const std::string list = stream_of(*root, "__properties_version1.0").substr(32);
    EXPECT_EQ(le({0x80000003, 6, 1, 0, 0x80010003, 6, 2, 0, 0x80020003, 6, 2, 0}), list);
}

TEST_F(NameMapping, KeepsPropertiesWithoutANameUnderTheirNumber)
{
    const auto names = mapping(msg::bytes_of_guid(some_set), le({7, 3U << 1U}), "");
    const auto file = mapped_message(names).entry(0x80000003, 1).entry(0x80010003, 2).entry(0x80030003, 3);
    EXPECT_EQ("", rewriting(file));
    // A new name takes no number that is in use, and each value can still be found.
    message_record record = read_made(file);
    const auto id = record.store->names.id_of({verdict_set, 1}, true);
    record.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(4));
    write_msg(record, place("again.msg"));
    const message_record again = read(place("again.msg"));
    EXPECT_EQ("", difference(record, again));
}

TEST_F(NameMapping, TakesOnlyNumbersOfNamedPropertiesForThoseOfNamelessOnes)
{
    // A file from outside may name the set that is used here for the numbers.
    const auto names =
        mapping(msg::bytes_of_guid(msg::nameless_set),
                le({0x37, 3U << 1U, 0x12348001, 3U << 1U | 1U << 16U, 0xFFFF, 3U << 1U | 2U << 16U}), "");
    const auto file = mapped_message(names).entry(0x80000003, 1).entry(0x80010003, 2).entry(0x80020003, 3);
    EXPECT_EQ("", rewriting(file));
    message_record record = read_made(file);
    for (const std::int32_t number : {0x37, 0x12348001, 0xFFFF}) { // changed, so that they are written anew
        const auto id = record.store->names.id_of({msg::nameless_set, number}, false);
        ASSERT_NE(0U, id) << number;
        record.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(number));
    }
    message_record moved; // as into a file with other names
    moved.store = record.store;
    for (const std::uint32_t tag : record.properties->tags()) {
        moved.properties->set(tag, *record.properties->find(PROP_ID(tag)));
    }
    for (const message_record* each : {&record, &moved}) {
        write_msg(*each, place("again.msg"));
        EXPECT_EQ("", difference(*each, read(place("again.msg"))));
    }
}

TEST_F(NameMapping, HoldsNamesOfAsManySetsAsItCanCount)
{
    std::string sets;
    std::string entries;
    auto file = made_object::message().class_id(msg::message_class_id);
    constexpr std::uint32_t most = 0x7FFD; // two names less than the number of identifiers in a store
    for (std::uint32_t i = 0; i < most; ++i) {
        sets += msg::bytes_of_guid({i, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}});
        entries += le({7, (3U + i) << 1U | i << 16U});
        file.entry(0x80000003 + (i << 16U), i);
    }
    file.storage("__nameid_version1.0", mapping(sets, entries, ""));
    message_record record = read_made(file);
    const auto add = [&record](const property_name& name) {
        record.properties->set(PROP_TAG(PT_LONG, record.store->names.id_of(name, true)), property_value::of_long(2));
    };
    add({{0, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}}, 8});
    write_msg(record, place("again.msg"));
    EXPECT_EQ("", difference(record, read(place("again.msg"))));
    add({verdict_set, 1});
    try {
        write_msg(record, place("again.msg"));
        FAIL() << "was written";
    } catch (const std::runtime_error& reason) {
        EXPECT_STREQ("the message has more named properties than a message file can hold", reason.what());
    }
    // The store has no identifier left for the names of another file.
    const auto other =
        mapped_message(mapping(msg::bytes_of_guid(some_set), le({7, 3U << 1U}), "")).entry(0x80000003, 1);
    try {
        read_msg(MsgTest::make(other.build()), record.store);
        FAIL() << "was read";
    } catch (const unreadable_message& reason) {
        EXPECT_STREQ("it has too many named properties", reason.what());
    }
}

TEST_F(NameMapping, TellsNamelessPropertiesOfDifferentFilesApart)
{
    // Number 1 has no name in one file and a name in the other.
    const auto store = std::make_shared<store_context>();
    MsgTest::make(mapped_message(mapping("", "", "")).entry(0x80010003, 5).build(), "inner.msg");
    const auto names = mapping(msg::bytes_of_guid(some_set), le({7, 3U << 1U, 8, 3U << 1U | 1U << 16U}), "");
    MsgTest::make(mapped_message(names).entry(0x80000003, 1).entry(0x80010003, 2).build(), "outer.msg");
    message_record outer = read_msg(place("outer.msg"), store);
    attachment_record attachment;
    attachment.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_EMBEDDED_MSG));
    attachment.embedded = std::make_shared<message_record>(read_msg(place("inner.msg"), store));
    outer.attachments.emplace(0, attachment);
    write_msg(outer, place("both.msg"));
    EXPECT_EQ("", difference(outer, read(place("both.msg"))));
}

TEST_F(NameMapping, IsRefusedWhenItIsDamaged)
{
    const std::string guid = msg::bytes_of_guid(some_set);
    const std::string damaged = "its list of property names is damaged";
    const auto reason = [this](const std::string& guids, const std::string& entries, const std::string& strings) {
        return refusal(MsgTest::make(mapped_message(mapping(guids, entries, strings)).build()));
    };
    EXPECT_EQ("", reason(guid, le({7, 3U << 1U}), ""));
    EXPECT_EQ(damaged, reason(guid, "1234", ""));            // half an entry
    EXPECT_EQ(damaged, reason(guid, le({7, 4U << 1U}), "")); // a set that does not exist
    EXPECT_EQ(damaged, reason(guid, le({7, 0x7FFFU << 1U}), ""));
    EXPECT_EQ(damaged, reason(guid, le({0, 3U << 1U | 1U}), "")); // a string that does not exist
    EXPECT_EQ(damaged, reason(guid, le({0xFFFFFFFC, 3U << 1U | 1U}), length_and_text(L"a")));
    EXPECT_EQ(damaged, reason(guid, le({0, 3U << 1U | 1U}), le({0xFFFFFFFF, 0}))); // longer than the available data
    EXPECT_EQ(damaged, reason(guid, le({0, 3U << 1U | 1U}), length_and_text(std::wstring(1025, L'n'))));
    EXPECT_EQ(damaged, reason(guid, le({7, 3U << 1U, 8, 3U << 1U}), ""));     // two names for one number
    EXPECT_EQ(damaged, reason(guid, le({7, 3U << 1U | 0xFFFFU << 16U}), "")); // an invalid number
}

TEST_F(NameMapping, MayBeMissing)
{
    const auto file = MsgTest::make(made_object::message().entry(0x00170003, 1).build());
    EXPECT_EQ("", refusal(file));
}

} // namespace name_mapping_test
} // namespace host::test
