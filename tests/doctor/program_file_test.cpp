#include "doctor/program_file.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace program_file_test {

using namespace doctor;

/// Returns the head of a module for a machine, whose header is at `place`.
std::string module_for(const std::string& machine, char place = 0x50)
{
    std::string bytes(0x50, '\0');
    bytes.replace(0, 2, "MZ");
    bytes[0x3C] = place;
    return bytes + std::string("PE\0\0", 4) + machine;
}

class program_heads : public testing::Test
{
protected:
    std::optional<machine_type> machine_of(const std::string& bytes)
    {
        const auto file = folder.path() / "module.dll";
        std::ofstream(file, std::ios::binary) << bytes;
        return machine_in(file.string());
    }

    host::test::temporary_folder folder;
};

TEST_F(program_heads, contain_the_machine)
{
    EXPECT_EQ(machine_of(module_for("\x64\x86")), machine_type::x64);
    EXPECT_EQ(machine_of(module_for("\x4C\x01")), machine_type::x86);
    EXPECT_EQ(machine_of(module_for("\x64\xAA")), machine_type::arm64);
    EXPECT_EQ(machine_of(module_for("\x01\x02")), machine_type::other);
}

TEST_F(program_heads, are_of_programs_only)
{
    const std::string whole = module_for("\x64\x86");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(machine_of(whole.substr(0, size)), std::nullopt) << size;
    }
    EXPECT_EQ(machine_of("X" + whole.substr(1)), std::nullopt);
    EXPECT_EQ(machine_of(module_for("\x64\x86", 0x4F)), std::nullopt);
    EXPECT_EQ(machine_of(module_for("\x64\x86", 0x7F)), std::nullopt);
    EXPECT_EQ(machine_in((folder.path() / "missing.dll").string()), std::nullopt);
}

} // namespace program_file_test
