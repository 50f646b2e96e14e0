#include "desk/cli/mail_client.h"
#include "desk/cli/service_link.h"
#include "mail/mime/reading/message_reader.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "store/bytes.h"
#include "tests/budget/budgets.h"
#include "tests/budget/measured_heap.h"
#include "tests/budget/quiet_peer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t body_size = 4096;

std::shared_ptr<host::message_record> make_message(std::size_t number)
{
    std::string text = "From: Ada <ada@example.org>\r\nSubject: Figures\r\nMessage-ID: <" + std::to_string(number) +
                       "@example.org>\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n";
    text.append(body_size, 'x');
    return std::make_shared<host::message_record>(host::read_message(
        host::bytes_of(std::move(text)), std::to_string(number), std::make_shared<host::store_context>()));
}

class opening_budget : public ::testing::Test
{
protected:
    opening_budget()
    {
        budget::begin_counting();
        MailCheckerServices services;
        services.link = host::service_link(peer_.port(), L"budget").get();
        checker_ = std::make_shared<MailChecker>(std::move(services));
        checker_->Init(false, 1, "budget", "S-1-5-21-0-0-0-1000");
        client_ = std::make_unique<host::mail_client>(checker_);
    }
    ~opening_budget() override
    {
        client_.reset();
        checker_->Close();
    }

    void open(const std::shared_ptr<host::message_record>& message)
    {
        const host::opening opened = client_->open(message);
        EXPECT_EQ(opened.result, S_OK);
        EXPECT_EQ(opened.verdict, ScanResult::Clean);
    }

    std::shared_ptr<budget::measured_heap> heap_ = std::make_shared<budget::measured_heap>();
    memory::process_heap_override heap_in_place_{heap_};
    budget::quiet_peer peer_;
    std::shared_ptr<MailChecker> checker_;
    std::unique_ptr<host::mail_client> client_;
};

TEST_F(opening_budget, of_a_scanned_message_is_kept)
{
    constexpr std::size_t times = 25;
    std::vector<std::shared_ptr<host::message_record>> unread;
    for (std::size_t number = 0; number <= times; ++number) {
        unread.push_back(make_message(number));
    }
    open(unread.back()); // connects
    std::size_t next = 0;
    const budget::counts found = budget::median_of(times, [&] { open(unread.at(next++)); });
    EXPECT_EQ(peer_.scans(), times + 1) << "a scan that fails counts as clean";
    budget::expect_within("an opening with a scan", found, budget::scanned_opening);
}

TEST_F(opening_budget, of_a_message_with_a_stored_verdict_is_kept)
{
    const auto first = client_->open(make_message(1));
    const auto judged = std::make_shared<host::message_record>(first.shown.copy());
    open(judged);
    const std::uint64_t before = peer_.received();
    const budget::counts found = budget::median_of(25, [&] { open(judged); });
    EXPECT_EQ(peer_.received(), before) << "the verdict was not found";
    budget::expect_within("an opening with a stored verdict", found, budget::known_opening);
}

} // namespace
