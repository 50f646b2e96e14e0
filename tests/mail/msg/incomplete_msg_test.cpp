// Message files in which parts are missing that are not needed to read the others: they are read with warnings, and
// never replaced by what was read.

#include "tests/mail/msg/msg_fixture.h"

#include <gmock/gmock.h>

#include <functional>

namespace host::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using texts = std::vector<std::string>;

texts warnings_of(const message_record& record)
{
    return record.incomplete ? record.incomplete->warnings : texts();
}

/// Returns a header of a message's list that specifies these counts.
std::string header_counting(std::uint32_t recipients, std::uint32_t attachments)
{
    std::string header(16, '\0');
    msg::append_u32(header, recipients);
    msg::append_u32(header, attachments);
    return header + std::string(8, '\0');
}

made_object embedding_part(const made_object& inner)
{
    return made_object::part()
        .entry(PR_ATTACH_METHOD, 5)
        .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
        .storage("__substg1.0_3701000D", inner.build());
}

class IncompleteMsg : public MsgTest
{
protected:
    /// Returns the reason why `write` fails; empty if it does not.
    static std::string failure(const std::function<void()>& write)
    {
        try {
            write();
            return {};
        } catch (const std::runtime_error& problem) {
            return problem.what();
        }
    }
    /// Writes the record to another file, which must be complete.
    message_record copy_of(const message_record& record)
    {
        write_msg(record, place("copy.msg"));
        message_record copy = read(place("copy.msg"));
        EXPECT_THAT(warnings_of(copy), IsEmpty());
        EXPECT_EQ("", rewriting_differs(place("copy.msg")));
        return copy;
    }
};

TEST_F(IncompleteMsg, HasTheWholeEntriesOfAListThatIsCutAtAnyByte)
{
    const auto whole = made_object::message().entry(0x60010003, 1).entry(0x60020003, 2).build();
    const std::string list = to_string(*whole->streams.front().contents);
    ASSERT_EQ(64U, list.size());
    for (std::size_t size = 0; size <= list.size(); ++size) {
        auto tree = std::make_shared<storage_tree>();
        tree->streams.push_back({"__properties_version1.0", bytes_of(list.substr(0, size))});
        const message_record record = read(make(storage_ptr(tree)));
        EXPECT_EQ(size >= 48, record.properties->find(0x6001) != nullptr) << size;
        EXPECT_EQ(size >= 64, record.properties->find(0x6002) != nullptr) << size;
        const bool between_entries = size == 32 || size == 48 || size == 64;
        EXPECT_EQ(between_entries ? texts() : texts{"a list of properties is cut off"}, warnings_of(record)) << size;
        copy_of(record);
    }
}

TEST_F(IncompleteMsg, HasTheOtherPropertiesIfTextsHaveNoStream)
{
    const message_record record = read(make(plain_message()
                                                .entry(0x6100001F, 8)
                                                .entry(0x6101001E, 8)
                                                .entry(0x6100001F, 8) // repeated
                                                .entry(0x00000000 | PT_UNICODE, 8)
                                                .entry(0x00000000 | PT_UNICODE, 8)
                                                .text(0x6102001F, L"here")));
    EXPECT_THAT(warnings_of(record),
                ElementsAre("its property 0x6100001F lacks its value", "its property 0x6101001E lacks its value",
                            "its property 0x0000001F lacks its value"));
    EXPECT_EQ(nullptr, record.properties->find(0x6100));
    EXPECT_EQ(nullptr, record.properties->find(0x6101));
    EXPECT_EQ(L"here", property(*copy_of(record).properties, 0x6102001F).wide());
}

TEST_F(IncompleteMsg, HasThePartsThatAreThereIfItCountsMore)
{
    message_record record = read(make(made_object(header_counting(1, 0))));
    EXPECT_THAT(warnings_of(record), ElementsAre("it tells of 1 recipients but holds 0"));
    copy_of(record);
    record = read(make(made_object(header_counting(3, 0xFFFFFFFF))
                           .recipient(1, made_object::part().text(PR_DISPLAY_NAME_W, L"Ann"))
                           .attachment(4, file_part("contents"))));
    EXPECT_THAT(warnings_of(record),
                ElementsAre("it tells of 3 recipients but holds 1", "it tells of 4294967295 attachments but holds 1"));
    const message_record copy = copy_of(record);
    EXPECT_EQ(L"Ann", property(*copy.recipients.at(0), PR_DISPLAY_NAME_W).wide());
    EXPECT_EQ("contents", bytes_in(*copy.attachments.at(4).properties, PR_ATTACH_DATA_BIN));
}

TEST_F(IncompleteMsg, IsWarnedOfWithThePlaceOfWhatIsMissing)
{
    const auto cut = [](const made_object& part) {
        auto tree = std::make_shared<storage_tree>(*part.build());
        auto& list = tree->streams.back().contents;
        list = bytes_of(to_string(*list).substr(0, list->size() - 1));
        return storage_ptr(tree);
    };
    const message_record record =
        read(make(made_object::message()
                      .entry(0x6100001F, 8)
                      .storage("__recip_version1.0_#00000002", cut(made_object::part().entry(0x60010003, 1)))
                      .storage("__attach_version1.0_#00000000", cut(file_part("contents")))
                      .attachment(16, embedding_part(made_object::embedded()
                                                         .entry(0x6101001F, 8)
                                                         .attachment(3, file_part("contents").entry(0x6102001F, 8))))));
    EXPECT_THAT(warnings_of(record),
                ElementsAre("its property 0x6100001F lacks its value", "recipient 2: a list of properties is cut off",
                            "attachment 0: a list of properties is cut off",
                            "attachment 16: its property 0x6101001F lacks its value",
                            "attachment 16: attachment 3: its property 0x6102001F lacks its value"));
    copy_of(record);
}

TEST_F(IncompleteMsg, IsWarnedOfByAFewTextsOnly)
{
    auto object = plain_message();
    for (std::uint32_t id = 0x6100; id < 0x6100 + 25; ++id) {
        object.entry(id << 16U | PT_UNICODE, 8);
    }
    const texts warnings = warnings_of(read(make(object)));
    ASSERT_EQ(21U, warnings.size());
    EXPECT_EQ("its property 0x6113001F lacks its value", warnings[19]);
    EXPECT_EQ("and 5 more", warnings[20]);
}

TEST_F(IncompleteMsg, DoesNotReplaceItsOwnFile)
{
    const auto file = make(plain_message().entry(0x6100001F, 8));
    const std::string before = contents_of(file);
    const message_record record = read(file).copy(); // as an opened message has it
    const std::string reason = "not all of it could be read, so that its own file is not replaced";
    EXPECT_EQ(reason, failure([&] { write_msg(record, file); }));
    EXPECT_EQ(reason, failure([&] { write_msg(record, folder.path() / "." / file.filename()); }));
    EXPECT_EQ(before, contents_of(file));
    const message_record copy = copy_of(record);
    EXPECT_EQ("", failure([&] { write_msg(copy, place("copy.msg")); }));
    const auto sound = make(plain_message(), "sound.msg");
    EXPECT_EQ("", failure([&] { write_msg(record, sound); }));
}

} // namespace
} // namespace host::test
