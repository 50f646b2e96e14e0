#include "desk/cli/observed_link.h"

#include "desk/cli/reported_threat.h"
#include "tool/icap_client/session_impl.h"

#include <utility>

namespace host {

namespace {

using icap::client::session;
using icap::client::session_pool;
using record_ptr = std::shared_ptr<answer_record>;

/// What forwards calls to a real object and records the answers.
template <typename Interface>
class observed : public Interface
{
public:
    observed(std::shared_ptr<Interface> real, record_ptr record)
        : real_(std::move(real))
        , record_(std::move(record))
    {}

protected:
    std::shared_ptr<Interface> real_;
    record_ptr record_;
};

class observed_session final : public observed<session>
{
public:
    using observed::observed;
    [[nodiscard]] const std::shared_ptr<session>& real() const noexcept { return real_; }

    ScanResult scan(const icap::client::scan_mail& parameters, answer_ptr& answer) override
    {
        const ScanResult result = real_->scan(parameters, answer);
        const auto* const known = dynamic_cast<const icap::client::session_impl*>(real_.get());
        const bool found = result == ScanResult::Blocked || result == ScanResult::Repaired;
        record_->exchanged(!known || known->answered(), found ? reported_threat(answer) : std::string());
        return result;
    }
    ScanResult scan(const icap::client::scan_health& parameters) override { return real_->scan(parameters); }
    ScanResult scan(const icap::client::scan_certificate& parameters) override { return real_->scan(parameters); }
    ScanResult scan(const icap::client::scan_http_response& parameters, answer_ptr& answer) override
    {
        return real_->scan(parameters, answer);
    }
    ScanResult scan(const icap::client::scan_http_request& parameters, answer_ptr& answer) override
    {
        return real_->scan(parameters, answer);
    }
    ScanResult scan(const icap::client::scan_object& parameters) override { return real_->scan(parameters); }
    [[nodiscard]] bool is_invalid() override { return real_->is_invalid(); }
    [[nodiscard]] std::uint32_t idle() override { return real_->idle(); }
    void close() override { real_->close(); }
    [[nodiscard]] bool is_closed() override { return real_->is_closed(); }
};

class observed_pool final : public observed<session_pool>
{
public:
    using observed::observed;
    std::shared_ptr<session> query_session() override
    {
        return std::make_shared<observed_session>(real_->query_session(), record_);
    }
    void release_session(std::shared_ptr<session> returned) override
    {
        real_->release_session(static_cast<observed_session&>(*returned).real());
    }
    void terminate() override { real_->terminate(); }
    [[nodiscard]] std::string istag() const override { return real_->istag(); }
};

class observed_link final : public observed<ConnectionSource>
{
public:
    using observed::observed;
    void Start() override { real_->Start(); }
    void Stop() override { real_->Stop(); }
    [[nodiscard]] std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() override
    {
        return real_->GetSettings();
    }
    [[nodiscard]] std::shared_ptr<session_pool> GetSessionManager() override
    {
        auto real = real_->GetSessionManager();
        return real ? std::make_shared<observed_pool>(std::move(real), record_) : nullptr;
    }
    [[nodiscard]] bool IsConnected() const override { return real_->IsConnected(); }
    void ForceConnection(bool now) override { real_->ForceConnection(now); }
    void LoadSettings() override { real_->LoadSettings(); }
    void BreakConnection() override { real_->BreakConnection(); }
};

} // namespace

std::shared_ptr<ConnectionSource> observe_answers(std::shared_ptr<ConnectionSource> real,
                                                  std::shared_ptr<answer_record> record)
{
    return std::make_shared<observed_link>(std::move(real), std::move(record));
}

} // namespace host
