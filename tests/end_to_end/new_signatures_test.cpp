// Clean messages are scanned again when the signatures of the service have changed.

#include "service/scan_server.h"
#include "tests/end_to_end/desk.h"
#include "tests/end_to_end/keeping_engine.h"
#include "tool/system/registry.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace {

/// An engine whose signatures change while it runs.
class updated_engine final : public service::scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "updated"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& info,
                                                              service::stop_token stop) override
    {
        return current()->begin(info, std::move(stop));
    }
    [[nodiscard]] std::string identity(service::stop_token) override
    {
        const std::lock_guard guard(lock_);
        return std::to_string(version_);
    }
    /// From now on objects that contain `condemned` are blocked.
    void update(std::string condemned)
    {
        const std::lock_guard guard(lock_);
        ++version_;
        engine_ = std::make_shared<test::keeping_engine>(std::move(condemned));
    }
    std::shared_ptr<test::keeping_engine> current()
    {
        const std::lock_guard guard(lock_);
        return engine_;
    }

private:
    std::mutex lock_;
    int version_ = 1;
    std::shared_ptr<test::keeping_engine> engine_ = std::make_shared<test::keeping_engine>();
};

class new_signatures : public testing::Test
{
protected:
    void start(std::uint32_t rescan)
    {
        registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::rescan_on_new_signatures,
                            rescan);
        service::server_options settings;
        settings.custom_engine = engine;
        server = std::make_unique<service::scan_server>(settings);
        server->start();
        reader = std::make_unique<test::desk>(server->port());
    }
    /// The next connection asks the service for its options, of which its tag is a part.
    void reconnect() const { reader->link().BreakConnection(); }

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    std::shared_ptr<updated_engine> engine = std::make_shared<updated_engine>();
    std::unique_ptr<service::scan_server> server;
    std::unique_ptr<test::desk> reader;
};

TEST_F(new_signatures, condemn_what_older_ones_found_clean_when_told_to)
{
    start(1);
    const auto stored = reader->receive(test::plain_mail("a new worm"));
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Clean);
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Clean);
    EXPECT_EQ(engine->current()->objects().size(), 1U) << "the second opening found the verdict";
    engine->update("worm");
    reconnect();
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Blocked);
    EXPECT_EQ(engine->current()->objects().size(), 1U);
}

TEST_F(new_signatures, of_which_no_session_heard_change_nothing)
{
    start(1);
    const auto stored = reader->receive(test::plain_mail("a new worm"));
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Clean);
    engine->update("worm");
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Clean);
    EXPECT_TRUE(engine->current()->objects().empty());
}

TEST_F(new_signatures, change_nothing_by_default)
{
    start(0);
    const auto stored = reader->receive(test::plain_mail("a new worm"));
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Clean);
    engine->update("worm");
    reconnect();
    EXPECT_EQ(reader->open(stored).verdict, ScanResult::Clean);
    EXPECT_TRUE(engine->current()->objects().empty());
}

} // namespace
