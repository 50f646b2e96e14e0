// Valid compound files that are invalid messages: each is rejected with a reason, or preserved unchanged.

#include "mail/msg/message_composer.h"
#include "mail/msg/message_parser.h"
#include "tests/mail/msg/msg_fixture.h"

#include <random>

namespace host::test {
namespace {

std::string le(std::initializer_list<std::uint32_t> numbers)
{
    std::string result;
    for (const std::uint32_t number : numbers) {
        msg::append_u32(result, number);
    }
    return result;
}

/// Returns `depth` nested messages, the outermost of which is a file.
made_object nested(int depth)
{
    made_object inner = made_object::embedded().text(PR_SUBJECT_W, L"innermost");
    for (int i = depth; i > 0; --i) {
        made_object outer = i == 1 ? plain_message() : made_object::embedded();
        outer.attachment(0, made_object::part()
                                .entry(PR_ATTACH_METHOD, 5)
                                .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
                                .storage("__substg1.0_3701000D", inner.build()));
        inner = outer;
    }
    return inner;
}

class HostileMsg : public MsgTest
{
protected:
    /// Returns the reason for the rejection of a file with this root.
    std::string reason(const made_object& root) { return refusal(make(root)); }
};

TEST_F(HostileMsg, IsRefusedWithoutAListOfProperties)
{
    const auto empty = std::make_shared<storage_tree>();
    EXPECT_EQ("it holds no Outlook message", refusal(make(storage_ptr(empty))));
    auto part = std::make_shared<storage_tree>();
    EXPECT_EQ("a part of it has no list of properties",
              reason(plain_message().storage("__recip_version1.0_#00000000", part)));
    EXPECT_EQ("a part of it has no list of properties",
              reason(plain_message().storage("__attach_version1.0_#00000000", part)));
}

TEST_F(HostileMsg, IsRefusedForValuesThatAreMissing)
{
    EXPECT_EQ("its property 0x61000102 lacks its value", reason(plain_message().entry(0x61000102, 1)));
    EXPECT_EQ("its property 0x61000048 lacks its value", reason(plain_message().entry(0x61000048, 0)));
    EXPECT_EQ("its property 0x61001003 lacks its value", reason(plain_message().entry(0x61001003, 4)));
    EXPECT_EQ("its property 0x3701000D lacks its value",
              reason(plain_message().attachment(
                  0, made_object::part().entry(PR_ATTACH_METHOD, 5).entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1))));
    EXPECT_EQ("its property 0x6100101F lacks a part of its value",
              reason(plain_message().value(0x6100101F, le({4, 4})).stream("__substg1.0_6100101F-00000001", "ab")));
}

TEST_F(HostileMsg, IsRefusedForSizesThatAreWrong)
{
    const auto with_size = [](std::uint32_t tag, const std::string& contents, std::uint32_t told) {
        return plain_message().entry(tag, told).stream(msg::value_name(tag), contents);
    };
    const std::string wrong = " has another size than it tells";
    EXPECT_EQ("its property 0x6100001F" + wrong, reason(with_size(0x6100001F, "a\0b\0", 9)));
    EXPECT_EQ("its property 0x6100001F" + wrong, reason(with_size(0x6100001F, std::string(4, 'a'), 2)));
    EXPECT_EQ("its property 0x6100001E" + wrong, reason(with_size(0x6100001E, "abc", 2)));
    EXPECT_EQ("its property 0x61000102" + wrong, reason(with_size(0x61000102, "abc", 4)));
    EXPECT_EQ("its property 0x61000102" + wrong, reason(with_size(0x61000102, "abc", 0xFFFFFFFF)));
    EXPECT_EQ("its property 0x61000102" + wrong, reason(with_size(0x61000102, "abc", 0)));
    EXPECT_EQ("its property 0x61001003" + wrong, reason(with_size(0x61001003, "12345678", 4)));
    const std::string kind = " has another size than its kind";
    EXPECT_EQ("its property 0x61000048" + kind, reason(plain_message().value(0x61000048, "short")));
    EXPECT_EQ("its property 0x61001003" + kind, reason(plain_message().value(0x61001003, "123")));
    EXPECT_EQ("its property 0x61001048" + kind, reason(plain_message().value(0x61001048, std::string(17, 'x'))));
    EXPECT_EQ("its property 0x6100101F" + kind, reason(plain_message().value(0x6100101F, "123")));
    EXPECT_EQ("its property 0x61001102" + kind, reason(plain_message().value(0x61001102, "1234")));
}

TEST_F(HostileMsg, IsRefusedForNumbersThatHaveNoNext)
{
    const std::string damaged = "its table of contents is damaged";
    for (const auto& prefix : {msg::recipient_prefix, msg::attachment_prefix}) {
        const auto with = [&](std::uint32_t number) {
            return reason(plain_message().storage(msg::numbered_name(prefix, number), made_object::part().build()));
        };
        EXPECT_EQ("", with(0x7FFFFFFE));
        EXPECT_EQ(damaged, with(0x7FFFFFFF));
        EXPECT_EQ(damaged, with(0xFFFFFFFF));
    }
}

TEST_F(HostileMsg, IsRefusedForListsOfHugeLengths)
{
    const std::string lengths(400000, '\xFF');
    EXPECT_EQ("its property 0x6100101F lacks a part of its value",
              reason(plain_message().value(0x6100101F, lengths).stream("__substg1.0_6100101F-00000000", "ab")));
}

TEST_F(HostileMsg, KeepsMessagesBelowTheDeepestEmbeddedOneAsTheyAre)
{
    for (const int depth : {deepest_embedded - 2, deepest_embedded - 1, deepest_embedded, deepest_embedded + 60}) {
        const auto file = make(nested(depth));
        message_record record = read(file);
        int found = 0;
        const message_record* at = &record;
        while (at->attachments.at(0).embedded) {
            ++found;
            at = at->attachments.at(0).embedded.get();
            if (at->attachments.empty()) {
                break;
            }
        }
        EXPECT_EQ(std::min(depth, deepest_embedded - 1), found) << depth;
        if (depth >= deepest_embedded) {
            const property_value& rest = property(*at->attachments.at(0).properties, PR_ATTACH_DATA_OBJ);
            EXPECT_TRUE(std::holds_alternative<storage_ptr>(rest.data));
        }
        EXPECT_EQ("", rewriting_differs(file)) << depth;
    }
}

TEST_F(HostileMsg, IsRefusedWhenAThousandMessagesAreInOneAnother)
{
    EXPECT_EQ("its messages are nested too deep", reason(nested(1000)));
}

TEST_F(HostileMsg, IsRefusedForADamageInAnEmbeddedMessage)
{
    const auto inner = made_object::embedded().entry(0x61000102, 8);
    EXPECT_EQ("its property 0x61000102 lacks its value",
              reason(plain_message().attachment(0, made_object::part()
                                                       .entry(PR_ATTACH_METHOD, 5)
                                                       .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
                                                       .storage("__substg1.0_3701000D", inner.build()))));
}

TEST_F(HostileMsg, MayHaveTheSameEntryManyTimes)
{
    auto object = plain_message();
    for (int i = 0; i < 5000; ++i) {
        object.entry(0x6100001F, 6);
    }
    object.stream("__substg1.0_6100001F", to_utf16le(L"ab"));
    const auto file = make(object);
    EXPECT_EQ(L"ab", property(*read(file).properties, 0x6100001F).wide());
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(HostileMsg, MayRepeatTheEntryOfALongListWithoutHavingItsValueManyTimes)
{
    auto object = plain_message().value(0x6100101F, std::string(4 * 2000, '\2'));
    for (std::uint32_t i = 0; i < 2000; ++i) {
        object.stream(msg::element_name(0x6100101F, i), to_utf16le(L"a"));
    }
    for (int i = 0; i < 100000; ++i) {
        object.entry(0x6100101F, 8000);
    }
    object.storage("__nameid_version1.0", made_object("").build());
    const storage_ptr root = object.build();
    const auto record = msg::parse_message(*root, std::make_shared<store_context>());
    EXPECT_EQ(2000U, std::get<std::vector<std::wstring>>(property(*record.properties, 0x6100101F).data).size());
    EXPECT_TRUE(same_bytes(root->streams.back().contents, msg::compose_message(record)->streams.back().contents));
}

TEST_F(HostileMsg, MayHaveHundredsOfAttachments)
{
    auto object = plain_message();
    const auto part = file_part("x");
    for (std::uint32_t i = 0; i < 300; ++i) {
        object.attachment(i, part);
    }
    const auto file = make(object);
    EXPECT_EQ(300U, read(file).attachments.size());
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(HostileMsg, IsReadOrRefusedWhateverItsListsSay)
{
    std::mt19937 random(42);
    const auto any = [&random] { return static_cast<std::uint32_t>(random()); };
    constexpr std::uint32_t types[]{0,  1,  2,  3,   4,    5,      6,      7,      10,     11,     13,     20,    30,
                                    31, 64, 72, 258, 0xFB, 0x1003, 0x101E, 0x101F, 0x1048, 0x1102, 0x10FB, 0x100D};
    std::size_t sound = 0;
    std::size_t incomplete = 0;
    for (int i = 0; i < 6000; ++i) {
        auto object = made_object::message();
        for (std::uint32_t k = any() % 6; k > 0; --k) {
            const std::uint32_t tag = (0x60000000U + (any() % 4 << 16U)) | types[any() % std::size(types)];
            const std::string contents(any() % 40, static_cast<char>(any() % 3));
            const bool honest = any() % 3 != 0;
            object.entry(tag, honest ? static_cast<std::uint32_t>(contents.size()) : any() % 64, any() % 3, any() % 9);
            const std::string name = msg::value_name(tag);
            const auto tree = object.build();
            const bool taken = std::any_of(tree->streams.begin(), tree->streams.end(),
                                           [&](const auto& stream) { return stream.name == name; });
            if (any() % 4 != 0 && !taken) {
                object.stream(name, contents);
            }
        }
        object.storage("__nameid_version1.0", made_object("").build());
        const storage_ptr root = object.build();
        try {
            const auto record = msg::parse_message(*root, std::make_shared<store_context>());
            const storage_ptr written = msg::compose_message(record);
            if (record.incomplete) {
                ++incomplete;
                ASSERT_FALSE(msg::parse_message(*written, std::make_shared<store_context>()).incomplete) << i;
            } else {
                ++sound;
                ASSERT_EQ("", difference(*root, *written)) << i;
            }
        } catch (const unreadable_message& reason) {
            ASSERT_STRNE("", reason.what());
        }
    }
    EXPECT_GT(sound, 500U);
    EXPECT_GT(incomplete, 50U);
}

} // namespace
} // namespace host::test
