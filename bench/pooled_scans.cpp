#include "bench/pooled_scans.h"

#include "bench/contest.h"
#include "tool/web/body_store.h"
#include "tool/web/io_data.h"

#include <algorithm>
#include <vector>

namespace bench {

namespace {

std::shared_ptr<web::io_data> make_body(std::uint64_t size)
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

icap::client::scan_mail mail(std::uint64_t body_size)
{
    icap::client::scan_mail record;
    record.user_name = "S-1-5-21-0-0-0-1000";
    record.process_name = "bench";
    record.subject = "[From:a][Subject:b][Time:c]";
    record.tag = "<bench@example.org>";
    record.mime_type = "text/html";
    record.data = make_body(body_size);
    record.timeout = 60000;
    return record;
}

} // namespace

pooled_scans::pooled_scans(std::uint64_t body_size)
    : record_(mail(body_size))
    , size_(body_size)
    , peer_(sink_peer::kind::icap)
    , pool_(std::make_shared<icap::client::session_manager>(
          icap::client::session_manager_parameters{L"127.0.0.1", peer_.port(), L"/bench"}, 1U))
{
    scan(1);
    const auto before = peer_.received();
    scan(1);
    bytes_on_wire_ = peer_.received() - before;
}

pooled_scans::~pooled_scans()
{
    pool_->terminate();
}

void pooled_scans::scan(std::uint64_t count)
{
    for (; count > 0; --count) {
        icap::client::session_lease lease(pool_);
        icap::client::session::answer_ptr answer;
        require(lease->scan(record_, answer) == ScanResult::Clean && !lease->is_invalid(), "not judged clean");
        ++done_;
    }
}

void pooled_scans::check() const
{
    require(peer_.scans() == done_, "not every body was scanned");
    require(peer_.scanned_bytes() == done_ * size_, "bodies of another size were scanned");
}

} // namespace bench
