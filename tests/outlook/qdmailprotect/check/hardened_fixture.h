#pragma once

#include "tests/outlook/qdmailprotect/support/checker_fixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

namespace test {

constexpr ULONG verdict_property = 0x80000003; ///< the first resolved name

/// A checker with the switch, which changes messages; the checker of the fixture only notes what is to be changed.
class hardened_fixture : public checker_fixture
{
protected:
    hardened_fixture() { harden(); }

    void harden(std::uint32_t value = 1)
    {
        registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::hardened_scanning, value);
        for (MailChecker* each : {&checker, &disinfecting}) {
            log.clear();
            each->Init(true, 1, "p", "u");
        }
    }
    /// Opens the message with the checker that changes it.
    HRESULT open(stored_message& message)
    {
        ComPtr<scripted_item> item = item_of(message);
        ComPtr<IUnknown> reference = item->reference();
        item.reset();
        return disinfecting.CheckMessage(false, true, std::move(reference), verdict, block_display);
    }
    /// Creates a message that the checkers have not seen before.
    std::unique_ptr<stored_message> another_message()
    {
        auto message = new_message();
        message->set_bytes(PR_ENTRYID, "message " + std::to_string(++made_));
        return message;
    }
    /// Makes the message the wrapper of an encrypted one, whose base it returns. The wrapper must be closed first.
    std::unique_ptr<stored_message> encrypt(stored_message& message)
    {
        auto base = std::make_unique<stored_message>(store, "base");
        message.make_encrypted();
        message.object().wrap(base->reference());
        return base;
    }
    /// Checks that the message was not judged, and that its next opening scans it again.
    void expect_untouched(stored_message& message)
    {
        EXPECT_EQ(verdict, ScanResult::None);
        EXPECT_FALSE(block_display);
        EXPECT_EQ(message.value(verdict_property), std::nullopt);
        EXPECT_EQ(message.saves, 0);
        pool->scans.clear();
        pool->answers.clear();
        link->pool = pool;
        EXPECT_EQ(open(message), S_OK);
        EXPECT_FALSE(scans().empty()) << "the next opening tries again";
        EXPECT_EQ(verdict, ScanResult::Clean);
        EXPECT_EQ(message.value(verdict_property), "1");
    }
    /// Checks that the display was stopped, and that the next opening of this session stops it without a scan.
    void expect_blocked(stored_message& message)
    {
        EXPECT_EQ(verdict, ScanResult::Blocked);
        EXPECT_TRUE(block_display);
        EXPECT_EQ(message.value(verdict_tag(store)), std::nullopt) << "a verdict on the message would open it";
        EXPECT_TRUE(log.contains("Message could not be disinfected, blocking the message display"));
        pool->scans.clear();
        block_display = false;
        EXPECT_EQ(open(message), S_OK);
        EXPECT_TRUE(block_display);
        EXPECT_EQ(scans().size(), 0U);
    }

    MailChecker disinfecting{{link, converter->platform(), nullptr, &clock, &session}};

private:
    int made_ = 0;
};

} // namespace test
