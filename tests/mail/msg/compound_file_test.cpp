#include "mail/msg/compound_check.h"
#include "tests/mail/msg/msg_fixture.h"

#include <atomic>
#include <thread>

namespace host::test {
namespace {

constexpr GUID some_class{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};

std::string pattern(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i * 31 + i / 251);
    }
    return text;
}

storage_ptr storage_with(std::vector<storage_tree::stream> streams, std::vector<storage_tree::storage> storages = {},
                         const GUID& class_id = {})
{
    auto tree = std::make_shared<storage_tree>();
    tree->class_id = class_id;
    tree->streams = std::move(streams);
    tree->storages = std::move(storages);
    return tree;
}

/// Returns `depth` nested storages.
storage_ptr nested(std::size_t depth)
{
    storage_ptr inner = storage_with({{"end", bytes_of("x")}});
    for (std::size_t i = 0; i < depth; ++i) {
        inner = storage_with({}, {{"inner", inner}});
    }
    return inner;
}

class CompoundFile : public MsgTest
{
protected:
    storage_ptr written_and_read(const storage_ptr& tree) { return msg::read_compound_file(make(tree)); }
};

TEST_F(CompoundFile, HoldsStreamsOfEverySize)
{
    std::vector<storage_tree::stream> streams;
    for (const std::size_t size :
         {0U, 1U, 63U, 64U, 65U, 511U, 512U, 4095U, 4096U, 4097U, 70000U, 131070U, 131071U, 1500000U}) {
        streams.push_back({"s" + std::to_string(size), bytes_of(pattern(size))});
    }
    const auto tree = storage_with(std::move(streams));
    EXPECT_EQ("", difference(*tree, *written_and_read(tree)));
}

TEST_F(CompoundFile, HoldsStoragesWithTheirClasses)
{
    const auto inner = storage_with({{"\001Ole", bytes_of("a")}}, {{"Empty", storage_with({})}}, some_class);
    const auto tree =
        storage_with({{"\003ObjInfo", bytes_of("b")}}, {{"Inner", inner}, {"Other", inner}}, msg::message_class_id);
    EXPECT_EQ("", difference(*tree, *written_and_read(tree)));
}

TEST_F(CompoundFile, HoldsNamesThatAreNotLatin)
{
    const auto tree = storage_with({{"Договор", bytes_of("a")}, {"契約", bytes_of("b")}});
    EXPECT_EQ("", difference(*tree, *written_and_read(tree)));
}

TEST_F(CompoundFile, HoldsManyNames)
{
    std::vector<storage_tree::stream> streams;
    for (int i = 0; i < 1200; ++i) {
        streams.push_back({"stream " + std::to_string(i), bytes_of(std::to_string(i))});
    }
    const auto tree = storage_with(std::move(streams));
    EXPECT_EQ(1200U, written_and_read(tree)->streams.size());
}

TEST_F(CompoundFile, MayBeReplacedWhileItsStreamsAreInUse)
{
    const auto tree = storage_with({{"large", bytes_of(pattern(3000000))}});
    const auto first = written_and_read(tree);
    make(storage_with({{"large", bytes_of("other")}}), "new.msg");
    std::filesystem::rename(place("new.msg"), place());
    EXPECT_EQ("", difference(*tree, *first));
}

TEST_F(CompoundFile, ReadsPiecesOfLargeStreams)
{
    const std::string contents = pattern(1500000);
    const auto tree = written_and_read(storage_with({{"large", bytes_of(contents)}}));
    const bytes& large = *tree->streams.front().contents;
    ASSERT_EQ(contents.size(), large.size());
    for (const std::size_t offset : {0U, 1U, 4096U, 777777U, 1499990U}) {
        std::string piece(100, '\0');
        const std::size_t got = large.read(offset, piece.data(), piece.size());
        EXPECT_EQ(contents.substr(offset, 100), piece.substr(0, got)) << offset;
    }
    char one = 0;
    EXPECT_EQ(0U, large.read(contents.size(), &one, 1));
}

TEST_F(CompoundFile, LetsManyThreadsReadAndForgetItsStreams)
{
    std::vector<storage_tree::stream> streams;
    for (std::size_t i = 0; i < 8; ++i) {
        streams.push_back({"large " + std::to_string(i), bytes_of(pattern(300000 + i))});
    }
    auto tree = written_and_read(storage_with(streams));
    std::vector<std::thread> readers;
    std::atomic<int> right = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        bytes_ptr own;
        for (const auto& stream : tree->streams) {
            own = stream.name == streams[i].name ? stream.contents : own;
        }
        readers.emplace_back([own = std::move(own), &right, i]() mutable {
            right += to_string(*own) == pattern(300000 + i) ? 1 : 0;
            own.reset();
        });
    }
    tree.reset();
    for (auto& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(8, right);
}

TEST_F(CompoundFile, IsToldFromOtherFilesByItsBeginning)
{
    EXPECT_TRUE(msg::begins_like_compound_file(*bytes_of("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 and more")));
    EXPECT_FALSE(msg::begins_like_compound_file(*bytes_of("From: a@example.com\n\nHello\n")));
    EXPECT_FALSE(msg::begins_like_compound_file(*bytes_of("\xD0\xCF\x11")));
    EXPECT_EQ("the file is empty", refusal(folder.write("a.msg", "")));
    EXPECT_EQ("it is not an Outlook message file", refusal(folder.write("b.msg", "From: a@example.com\n\nHello\n")));
    EXPECT_EQ("it is not a whole file: a part of it is missing",
              refusal(folder.write("c.msg", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1")));
    EXPECT_THROW(msg::read_compound_file(place("none.msg")), std::runtime_error);
}

TEST_F(CompoundFile, SaysWhyItCannotBeWritten)
{
    try {
        msg::write_compound_file(*storage_with({}), folder.path() / "no such folder" / "a.msg");
        FAIL() << "was written";
    } catch (const std::runtime_error& reason) {
        EXPECT_NE(std::string(), reason.what());
        EXPECT_NE(std::string("the file cannot be written"), reason.what());
    }
}

TEST_F(CompoundFile, IsNotWrittenWithMorePartsThanAreRead)
{
    std::vector<storage_tree::stream> streams;
    for (std::size_t i = 0; i <= msg::most_parts; ++i) {
        streams.push_back({"stream " + std::to_string(i), bytes_of({})});
    }
    const auto outer = storage_with({}, {{"Inner", storage_with(std::move(streams))}});
    try {
        msg::write_compound_file(*outer, place());
        FAIL() << "was written";
    } catch (const std::runtime_error& reason) {
        EXPECT_STREQ("it has more parts than a message file can hold", reason.what());
    }
    EXPECT_FALSE(std::filesystem::exists(place()));
}

TEST_F(CompoundFile, TakesStoragesUpToTheLimitOfNesting)
{
    const auto deep = nested(deepest_storage - 1);
    EXPECT_EQ("", difference(*deep, *written_and_read(deep)));
    const auto file = make(nested(deepest_storage + 1));
    EXPECT_EQ("its messages are nested too deep", refusal(file));
}

} // namespace
} // namespace host::test
