#include "tests/end_to_end/impatient_pool.h"

#include <string>
#include <utility>

namespace test {

namespace {

using icap::client::session;

/// Runs every scan with the given time limit.
class impatient_session final : public session
{
public:
    impatient_session(std::shared_ptr<session> real, std::uint32_t patience)
        : real_(std::move(real))
        , patience_(patience)
    {}
    ScanResult scan(const icap::client::scan_mail& parameters, answer_ptr& answer) override
    {
        return real_->scan(hasty(parameters), answer);
    }
    ScanResult scan(const icap::client::scan_health& parameters) override { return real_->scan(hasty(parameters)); }
    ScanResult scan(const icap::client::scan_certificate& parameters) override
    {
        return real_->scan(hasty(parameters));
    }
    ScanResult scan(const icap::client::scan_http_response& parameters, answer_ptr& answer) override
    {
        return real_->scan(hasty(parameters), answer);
    }
    ScanResult scan(const icap::client::scan_http_request& parameters, answer_ptr& answer) override
    {
        return real_->scan(hasty(parameters), answer);
    }
    ScanResult scan(const icap::client::scan_object& parameters) override { return real_->scan(hasty(parameters)); }
    bool is_invalid() override { return real_->is_invalid(); }
    std::uint32_t idle() override { return real_->idle(); }
    void close() override { real_->close(); }
    bool is_closed() override { return real_->is_closed(); }

    [[nodiscard]] std::shared_ptr<session> release() { return std::move(real_); }

private:
    template <typename Record>
    Record hasty(Record record) const
    {
        record.timeout = patience_;
        return record;
    }
    std::shared_ptr<session> real_;
    std::uint32_t patience_;
};

class impatient_pool final : public icap::client::session_pool
{
public:
    impatient_pool(std::shared_ptr<icap::client::session_pool> real, std::uint32_t patience)
        : real_(std::move(real))
        , patience_(patience)
    {}
    std::shared_ptr<session> query_session() override
    {
        return std::make_shared<impatient_session>(real_->query_session(), patience_);
    }
    void release_session(std::shared_ptr<session> returned) override
    {
        real_->release_session(std::static_pointer_cast<impatient_session>(returned)->release());
    }
    void terminate() override { real_->terminate(); }
    [[nodiscard]] std::string istag() const override { return real_->istag(); }

private:
    std::shared_ptr<icap::client::session_pool> real_;
    std::uint32_t patience_;
};

} // namespace

std::shared_ptr<icap::client::session_pool> connect_impatiently(const icap::client::session_manager_parameters& server,
                                                                std::uint32_t patience)
{
    icap::client::session_timing timing;
    timing.options_answer = patience;
    timing.release_poll = 1;
    return std::make_shared<impatient_pool>(std::make_shared<icap::client::session_manager>(server, 1U, timing),
                                            patience);
}

} // namespace test
