#include "tests/outlook/qdmailprotect/link/link_fixture.h"

#include "settings/settings_blob.h"

#include <stdexcept>
#include <utility>

namespace test {

bool timer_journal::fire()
{
    std::function<void()> due;
    {
        const std::lock_guard guard(lock_);
        due = std::exchange(waiting_, nullptr);
    }
    if (due) {
        due();
        return true;
    }
    return false;
}

bool manual_timers::CreateTimer(std::uint32_t delay, std::function<void()> fire)
{
    if (journal_.refuses) {
        return false;
    }
    const std::lock_guard guard(journal_.lock_);
    EXPECT_FALSE(journal_.waiting_) << "two timers at once";
    journal_.delays_.push_back(delay);
    journal_.waiting_ = std::move(fire);
    return true;
}

void manual_timers::DeleteTimer()
{
    ++journal_.deletions;
    const std::lock_guard guard(journal_.lock_);
    journal_.waiting_ = nullptr;
}

/// Answers health questions; any other request is an error.
class health_pool::health_session final : public icap::client::session
{
public:
    explicit health_session(health_pool& pool)
        : pool_(pool)
    {}
    ScanResult scan(const icap::client::scan_health& parameters) override
    {
        {
            const std::lock_guard guard(pool_.lock_);
            pool_.questions_.push_back(parameters);
        }
        if (pool_.on_scan) {
            pool_.on_scan();
        }
        return pool_.answer;
    }
    ScanResult scan(const icap::client::scan_mail&, answer_ptr&) override { return unexpected(); }
    ScanResult scan(const icap::client::scan_certificate&) override { return unexpected(); }
    ScanResult scan(const icap::client::scan_http_response&, answer_ptr&) override { return unexpected(); }
    ScanResult scan(const icap::client::scan_http_request&, answer_ptr&) override { return unexpected(); }
    ScanResult scan(const icap::client::scan_object&) override { return unexpected(); }
    bool is_invalid() override { return false; }
    std::uint32_t idle() override { return 0; }
    void close() override {}
    bool is_closed() override { return true; }

private:
    static ScanResult unexpected()
    {
        ADD_FAILURE() << "this is no health question";
        return ScanResult::None;
    }
    health_pool& pool_;
};

std::shared_ptr<icap::client::session> health_pool::query_session()
{
    if (on_query) {
        on_query();
    }
    ++leased;
    return std::make_shared<health_session>(*this);
}

void health_pool::release_session(std::shared_ptr<icap::client::session>)
{
    --leased;
    if (on_release) {
        on_release();
    }
}

std::vector<icap::client::scan_health> health_pool::questions() const
{
    const std::lock_guard guard(lock_);
    return questions_;
}

class link_fixture::fixture_broker final : public SettingsBroker
{
public:
    explicit fixture_broker(link_fixture& fixture)
        : fixture_(fixture)
    {}
    [[nodiscard]] std::unique_ptr<Visit> Begin() override { return std::make_unique<visit>(fixture_); }

private:
    class visit final : public Visit
    {
    public:
        explicit visit(link_fixture& fixture)
            : fixture_(fixture)
        {}
        void Connect() override
        {
            if (fixture_.on_connect) {
                fixture_.on_connect();
            }
        }
        [[nodiscard]] Bytes Load() override
        {
            ++fixture_.loads;
            if (fixture_.on_load) {
                fixture_.on_load();
            }
            const std::lock_guard guard(fixture_.lock_);
            return fixture_.blob_;
        }

    private:
        link_fixture& fixture_;
    };
    link_fixture& fixture_;
};

link_fixture::link_fixture()
{
    serve({});
    ScannerLinkServices services;
    services.broker = broker();
    services.presence = presence;
    services.newManager = [this](const ServerInfo& server) {
        {
            const std::lock_guard guard(lock_);
            servers_.push_back(server);
        }
        if (on_create) {
            on_create();
        }
        const std::lock_guard guard(lock_);
        return pool;
    };
    services.timers = std::make_unique<manual_timers>(timer);
    services.clock = &clock;
    link = std::make_unique<ScannerLink>(std::move(services));
}

std::shared_ptr<SettingsBroker> link_fixture::broker()
{
    return std::make_shared<fixture_broker>(*this);
}

void link_fixture::serve(const Settings& settings)
{
    serve_bytes(DOVA::Settings::BlobFromSettings(settings));
}

void link_fixture::serve_bytes(SettingsBroker::Bytes bytes)
{
    const std::lock_guard guard(lock_);
    blob_ = std::move(bytes);
}

void link_fixture::offer(std::shared_ptr<health_pool> next)
{
    const std::lock_guard guard(lock_);
    pool = std::move(next);
}

std::vector<ServerInfo> link_fixture::servers() const
{
    const std::lock_guard guard(lock_);
    return servers_;
}

link_fixture::texts link_fixture::lines() const
{
    texts found;
    for (const auto& line : log.lines()) {
        if (line.logger == "outlook") {
            found.push_back(std::to_string(line.level) + " " + line.text);
        }
    }
    return found;
}

DOVA::Settings::WebTrafficMonitorSettings settings_of(std::uint32_t port, const std::wstring& uri)
{
    DOVA::Settings::WebTrafficMonitorSettings settings;
    settings.ServerPort.value = port;
    settings.ServerPort.isSet = true;
    settings.Uri.value = uri;
    settings.Uri.isSet = true;
    return settings;
}

} // namespace test
