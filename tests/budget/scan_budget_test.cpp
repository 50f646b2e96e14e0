#include "tests/budget/budgets.h"
#include "tests/budget/measured_heap.h"
#include "tests/budget/quiet_peer.h"
#include "tool/icap_client/session_manager.h"
#include "tool/web/body_store.h"
#include "tool/web/io_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr std::uint64_t small_body = 4096;
constexpr std::uint64_t large_body = std::uint64_t{64} << 20U;

std::shared_ptr<web::io_data> body_of(std::uint64_t size)
{
    std::shared_ptr<web::io_data> body = web::make_body_store(static_cast<std::uint32_t>(size));
    const std::vector<char> block(65536, 'x');
    for (std::uint64_t left = size; left > 0;) {
        const auto count = std::min<std::uint64_t>(left, block.size());
        body->append(block.data(), count);
        left -= count;
    }
    return body;
}

class scan_budget : public ::testing::Test
{
protected:
    scan_budget() { budget::begin_counting(); }
    ~scan_budget() override { pool_->terminate(); }

    /// Scans a body once more than `times` times, and returns the median counts of one scan.
    budget::counts counts_of_scans(std::uint64_t body_size, std::size_t times)
    {
        icap::client::scan_mail record;
        record.user_name = "S-1-5-21-0-0-0-1000";
        record.process_name = "budget";
        record.subject = "[From:a][Subject:b][Time:c]";
        record.tag = "<budget@example.org>";
        record.mime_type = "text/html";
        record.data = body_of(body_size);
        record.timeout = 60000;
        const auto scan = [&] {
            icap::client::session_lease lease(pool_);
            icap::client::session::answer_ptr answer;
            EXPECT_EQ(lease->scan(record, answer), ScanResult::Clean);
            EXPECT_FALSE(lease->is_invalid());
        };
        scan(); // connects
        const std::uint64_t before = peer_.received();
        const budget::counts found = budget::median_of(times, scan);
        EXPECT_EQ(peer_.scans(), times + 1) << "a scan that fails counts as clean";
        EXPECT_GT(peer_.received() - before, times * body_size);
        return found;
    }

private:
    std::shared_ptr<budget::measured_heap> heap_ = std::make_shared<budget::measured_heap>();
    memory::process_heap_override heap_in_place_{heap_};
    budget::quiet_peer peer_;
    std::shared_ptr<icap::client::session_manager> pool_ = std::make_shared<icap::client::session_manager>(
        icap::client::session_manager_parameters{L"127.0.0.1", peer_.port(), L"/budget"}, 1U);
};

TEST_F(scan_budget, of_a_small_scan_is_kept)
{
    budget::expect_within("a scan of 4 KiB", counts_of_scans(small_body, 25), budget::small_scan);
}

TEST_F(scan_budget, of_a_large_scan_is_kept)
{
    budget::expect_within("a scan of 64 MiB", counts_of_scans(large_body, 1), budget::large_scan);
}

} // namespace
