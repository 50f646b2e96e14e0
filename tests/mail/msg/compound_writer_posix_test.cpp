// Compound files as this folder writes them, down to their sectors and the trees of their directories.

#include "mail/msg/compound_check.h"
#include "mail/msg/compound_writer.h"
#include "mail/msg/directory_plan.h"
#include "tests/mail/msg/msg_fixture.h"

#include <bit>
#include <functional>

namespace host::test {
namespace compound_writer_test {

/// Bytes that are not in memory; a reader of the last one may fail.
class zeros final : public bytes
{
public:
    explicit zeros(std::uint64_t size, bool whole = true)
        : size_(size)
        , readable_(whole ? size : size - 1)
    {}
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override
    {
        const std::size_t got = std::min<std::uint64_t>(count, readable_ - std::min(offset, readable_));
        std::fill_n(static_cast<char*>(destination), got, '\0');
        return got;
    }

private:
    std::uint64_t size_;
    std::uint64_t readable_;
};

bytes_ptr written(const storage_tree& contents)
{
    std::string file;
    msg::write_storages(contents, [&file](std::string_view bytes) { file += bytes; });
    return bytes_of(std::move(file));
}

std::string failure(const storage_tree& contents)
{
    try {
        written(contents);
        return {};
    } catch (const std::runtime_error& reason) {
        return reason.what();
    }
}

storage_tree with_streams(std::size_t count)
{
    storage_tree tree;
    for (std::size_t i = 0; i < count; ++i) {
        tree.streams.push_back({"s" + std::to_string(i * 7919 % 100003), bytes_of("x")});
    }
    return tree;
}

/// Returns the number of entries on the longest path below an entry.
std::size_t depth_of(const std::vector<msg::directory_entry>& entries, std::uint32_t at)
{
    return at == msg::no_entry
               ? 0
               : 1 + std::max(depth_of(entries, entries.at(at).left), depth_of(entries, entries.at(at).right));
}

/// Returns the number of black entries on each path below an entry. Adds a failure if they differ, or if a red entry
/// has a red child.
std::size_t black_entries(const std::vector<msg::planned_entry>& plan, std::uint32_t at)
{
    if (at == msg::no_entry) {
        return 0;
    }
    const msg::planned_entry& node = plan.at(at);
    for (const std::uint32_t child : {node.entry.left, node.entry.right}) {
        EXPECT_TRUE(node.black || child == msg::no_entry || plan.at(child).black);
    }
    const std::size_t left = black_entries(plan, node.entry.left);
    EXPECT_EQ(left, black_entries(plan, node.entry.right));
    return left + (node.black ? 1 : 0);
}

/// Returns the names of siblings in the order of their tree.
std::vector<std::wstring> names_below(const std::vector<msg::planned_entry>& plan, std::uint32_t at)
{
    if (at == msg::no_entry) {
        return {};
    }
    auto names = names_below(plan, plan.at(at).entry.left);
    names.push_back(from_utf16le(plan.at(at).entry.name));
    for (auto& name : names_below(plan, plan.at(at).entry.right)) {
        names.push_back(std::move(name));
    }
    return names;
}

TEST(CompoundWriter, MakesTreesOfManySiblingsThatAreNoDeeperThanNecessary)
{
    for (const std::size_t count : {1U, 2U, 3U, 100U, 1000U, 8000U}) {
        const auto structure = msg::check_compound_file(*written(with_streams(count)));
        EXPECT_EQ(count, structure.parts);
        EXPECT_EQ(std::bit_width(count), depth_of(structure.entries, structure.entries.front().child)) << count;
    }
}

TEST(CompoundWriter, BalancesTheTreesOfSiblings)
{
    for (std::size_t count = 0; count < 130; ++count) {
        const storage_tree tree = with_streams(count);
        const auto plan = msg::plan_directory(tree);
        ASSERT_EQ(count + 1, plan.size());
        const std::uint32_t root = plan.front().entry.child;
        EXPECT_TRUE(count == 0 || plan.at(root).black) << count;
        EXPECT_EQ(std::bit_width(count + 1) - 1U, black_entries(plan, root)) << count;
        EXPECT_EQ(count, names_below(plan, root).size()) << count;
    }
}

TEST(CompoundWriter, OrdersSiblingsByLengthAndUpperCase)
{
    storage_tree tree;
    for (const char* name : {"abd", "ABC", "Яб", "яа", "z", "b_", "bA", "Договор"}) {
        tree.streams.push_back({name, bytes_of("x")});
    }
    tree.storages.push_back({"AbCd", std::make_shared<storage_tree>()});
    const auto plan = msg::plan_directory(tree);
    const std::vector<std::wstring> wanted{L"z", L"bA", L"b_", L"яа", L"Яб", L"ABC", L"abd", L"AbCd", L"Договор"};
    EXPECT_EQ(wanted, names_below(plan, plan.front().entry.child));
}

TEST(CompoundWriter, RefusesNamesThatTheFormatCannotHold)
{
    storage_tree tree;
    tree.streams.push_back({std::string(31, 'x'), bytes_of("x")});
    EXPECT_EQ("", failure(tree));
    tree.streams.front().name += 'x';
    EXPECT_EQ("the name of a part of the message is too long for a message file", failure(tree));
}

TEST(CompoundWriter, RefusesContentsThatTheFormatCannotHold)
{
    storage_tree tree;
    tree.streams.push_back({"large", std::make_shared<const zeros>(0x80000001)});
    EXPECT_EQ("the message is larger than a message file can be", failure(tree));
}

TEST(CompoundWriter, SaysThatContentsCouldNotBeRead)
{
    for (const std::uint64_t size : {1U, 4095U, 4096U, 100000U}) {
        storage_tree tree;
        tree.streams.push_back({"cut", std::make_shared<const zeros>(size, false)});
        EXPECT_EQ("a part of the message could not be read", failure(tree)) << size;
    }
}

/// The table of sectors describes itself, and the list of its sectors; both grow by whole sectors.
TEST(CompoundWriter, WritesTablesOfEverySize)
{
    constexpr std::uint64_t in_table = 128;
    for (const std::uint64_t tables : {1U, 2U, 109U, 110U, 236U, 237U}) {
        for (std::uint64_t fewer = 0; fewer < 6; ++fewer) {
            const std::uint64_t sectors = tables * in_table - tables - fewer;
            storage_tree tree;
            tree.streams.push_back({"large", std::make_shared<const zeros>(sectors * 512)});
            const bytes_ptr file = written(tree);
            EXPECT_EQ(0U, file->size() % 512);
            const auto structure = msg::check_compound_file(*file);
            EXPECT_EQ(1U, structure.parts);
            const std::uint64_t used = file->size() / 512 - 1;
            EXPECT_LE(used, structure.table.size()) << sectors;
            EXPECT_LT(structure.table.size(), used + in_table) << sectors;
            for (std::uint64_t i = 0; i < structure.table.size(); ++i) {
                ASSERT_EQ(i >= used, structure.table[i] == msg::free_sector) << sectors << ' ' << i;
            }
        }
    }
}

} // namespace compound_writer_test
} // namespace host::test
