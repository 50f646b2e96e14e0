#include "tool/icap_client/traffic_dump.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace icap::client;
namespace fs = std::filesystem;
using namespace std::string_literals;

/// A separate folder that is removed with the test, and a registry that names it.
class TrafficDump : public testing::Test
{
protected:
    /// The first use of each form in this process is ahead of all tests.
    static void SetUpTestSuite() { first_numbers(); }
    static const std::vector<int>& first_numbers();
    TrafficDump()
    {
        folder = fs::temp_directory_path() /
                 ("traffic_dump_" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        fs::create_directories(folder);
        set_folder(folder);
    }
    ~TrafficDump() override
    {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    void set_folder(const fs::path& path)
    {
        registry.set_string(winapi::registry_names::dump_key, winapi::registry_names::dump_http_traffic_path,
                            path.wstring());
    }
    [[nodiscard]] std::set<std::string> files() const
    {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }
    [[nodiscard]] std::string contents(const std::string& name) const
    {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Returns "%09d_%p" with the number in the file's name.
    [[nodiscard]] std::string identity() const
    {
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "_%p", static_cast<const void*>(this));
        return text.data();
    }
    static int number(const std::string& name, const std::string& text)
    {
        return std::stoi(name.substr(text.size(), 9));
    }

    fs::path folder;
    winapi::memory_registry registry;
    winapi::registry_override override_{registry};
};

using pointer_form = void (*)(std::string_view, const void*, const char*, const char*) noexcept;
using iterator_form = void (*)(std::string_view, const void*, byte_iterator, byte_iterator) noexcept;

/// A folder and the numbers of the files that the first uses make in it.
class FirstDumps : public TrafficDump
{
public:
    FirstDumps()
    {
        const std::vector<char> bytes{'x'};
        dump_request_traffic("a", this, bytes.data(), bytes.data() + 1);
        dump_request_traffic("b", this, bytes.begin(), bytes.end());
        dump_response_traffic("c", this, bytes.data(), bytes.data() + 1);
        dump_response_traffic("d", this, bytes.begin(), bytes.end());
        for (const auto& name : files()) {
            numbers.push_back(number(name, "a"));
        }
    }
    std::vector<int> numbers;

private:
    void TestBody() override {}
};

const std::vector<int>& TrafficDump::first_numbers()
{
    static const std::vector<int> numbers = FirstDumps().numbers;
    return numbers;
}

TEST_F(TrafficDump, NumbersTheFilesOfEachFormFromOne)
{
    EXPECT_EQ(first_numbers(), (std::vector<int>{1, 1, 1, 1}));
}

TEST_F(TrafficDump, WritesARangeOfPointersToANewFileForEachUse)
{
    for (const pointer_form form :
         {static_cast<pointer_form>(&dump_request_traffic), static_cast<pointer_form>(&dump_response_traffic)}) {
        for (const auto& name : files()) {
            fs::remove(folder / name);
        }
        const std::string bytes = "a\r\n\0b"s;
        form("client", this, bytes.data(), bytes.data() + bytes.size());
        form("client", this, bytes.data(), bytes.data() + 1);
        const auto names = files();
        ASSERT_EQ(names.size(), 2U);
        const std::string first = *names.begin();
        const std::string second = *names.rbegin();
        EXPECT_TRUE(first.starts_with("client0"));
        EXPECT_TRUE(first.ends_with(identity()));
        EXPECT_EQ(first.size(), std::string("client").size() + 9 + identity().size());
        EXPECT_EQ(number(second, "client"), number(first, "client") + 1);
        EXPECT_EQ(contents(first), bytes);
        EXPECT_EQ(contents(second), "a");
    }
}

TEST_F(TrafficDump, WritesARangeOfIteratorsToANewFileForEachUse)
{
    for (const iterator_form form :
         {static_cast<iterator_form>(&dump_request_traffic), static_cast<iterator_form>(&dump_response_traffic)}) {
        for (const auto& name : files()) {
            fs::remove(folder / name);
        }
        const std::vector<char> bytes{'x', '\n', '\r'};
        form("t", this, bytes.begin(), bytes.end());
        form("t", this, bytes.end(), bytes.end());
        const auto names = files();
        ASSERT_EQ(names.size(), 2U);
        EXPECT_EQ(contents(*names.begin()), "x\n\r");
        EXPECT_EQ(contents(*names.rbegin()), "");
        EXPECT_EQ(number(*names.rbegin(), "t"), number(*names.begin(), "t") + 1);
    }
}

TEST_F(TrafficDump, CountsEachFormByItself)
{
    const std::vector<char> bytes{'x'};
    dump_request_traffic("r", this, bytes.data(), bytes.data() + 1);
    const int before = number(*files().begin(), "r");
    dump_response_traffic("s", this, bytes.data(), bytes.data() + 1);
    dump_request_traffic("s", this, bytes.begin(), bytes.end());
    dump_response_traffic("s", this, bytes.begin(), bytes.end());
    fs::remove(folder / *files().begin());
    dump_request_traffic("r", this, bytes.data(), bytes.data() + 1);
    EXPECT_EQ(number(*files().begin(), "r"), before + 1);
}

TEST_F(TrafficDump, ReadsTheFolderAnewEachTime)
{
    const fs::path other = folder / "other";
    fs::create_directories(other);
    set_folder(other);
    const char byte = 'x';
    dump_request_traffic("r", this, &byte, &byte + 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(other), fs::directory_iterator()), 1);
}

TEST_F(TrafficDump, IgnoresAFolderThatIsNotThere)
{
    set_folder(folder / "missing");
    const char byte = 'x';
    dump_request_traffic("r", this, &byte, &byte + 1);
    EXPECT_TRUE(files().empty());
}

TEST_F(TrafficDump, WithoutAFolderWritesToTheCurrentOne)
{
    registry.clear();
    const fs::path before = fs::current_path();
    fs::current_path(folder);
    const char byte = 'x';
    dump_response_traffic("here", this, &byte, &byte + 1);
    fs::current_path(before);
    const auto names = files();
    ASSERT_EQ(names.size(), 1U);
    EXPECT_TRUE(names.begin()->starts_with("here0"));
}

} // namespace
