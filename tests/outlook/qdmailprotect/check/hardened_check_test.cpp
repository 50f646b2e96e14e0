// The check with the switch HardenedScanning. What the check does without it is tested beside this file.

#include "tests/outlook/qdmailprotect/support/checker_fixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

class hardened_check : public test::checker_fixture
{
protected:
    void harden(std::uint32_t value = 1)
    {
        registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::hardened_scanning, value);
        log.clear();
        checker.Init(true, 1, "p", "u");
    }
    /// Creates a message that the checker has not seen before.
    std::unique_ptr<test::stored_message> another_message()
    {
        auto message = new_message();
        message->set_bytes(PR_ENTRYID, "message " + std::to_string(++made_));
        return message;
    }

private:
    int made_ = 0;
};

TEST_F(hardened_check, marks_its_scans_only_with_the_registry_value)
{
    for (const std::uint32_t value : {0U, 1U, 4294967295U}) {
        harden(value);
        EXPECT_EQ(log.contains("Additions params - HardenedScanning = " + std::to_string(value)), value != 0);
        const auto message = another_message();
        message->attach(0, L"a.txt", "data");
        pool->scans.clear();
        EXPECT_EQ(check(*message), S_OK);
        EXPECT_EQ(scans().size(), 2U);
        for (const auto& scan : scans()) {
            EXPECT_EQ(scan.parameters.hardened, value != 0);
        }
    }
}

TEST_F(hardened_check, takes_an_unreadable_switch_for_an_absent_one)
{
    registry.set_bytes(winapi::registry_names::environment_key, winapi::registry_names::hardened_scanning,
                       std::vector<unsigned char>(8, 1));
    log.clear();
    checker.Init(true, 1, "p", "u");
    EXPECT_FALSE(log.contains("HardenedScanning"));
    const auto message = new_message();
    EXPECT_EQ(check(*message), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_FALSE(scans()[0].parameters.hardened);
}

} // namespace
