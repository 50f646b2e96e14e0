#include "tests/tool/icap_client/session_fixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;

/// How long a session keeps the object of a scan that found something.
class SessionData : public test::session_fixture
{
protected:
    /// Returns a script whose first scan is of a mail and has a blocked answer.
    static conversation blocking() { return greeted().expect_until("\r\n0\r\n\r\n").send(reply::blocked("X")); }
    void scan_mail_of(std::shared_ptr<web::io_data> data)
    {
        scan_mail mail;
        mail.data = std::move(data);
        session::answer_ptr answer;
        EXPECT_EQ(subject->scan(mail, answer), ScanResult::Blocked);
    }
    /// Scans a mail that is blocked, then `next`, which the service answers so. Returns true if the session still has
    /// the mail's data ahead of that second scan and no longer behind it.
    bool releases(const std::function<ScanResult(session_impl&)>& next, const std::string& answer)
    {
        serve(blocking().expect_until("HTTP/1.1\r\n\r\n").send(answer));
        open();
        auto data = std::make_shared<test::string_data>("body");
        const std::weak_ptr<test::string_data> seen = data;
        scan_mail_of(std::move(data));
        const bool kept = !seen.expired();
        EXPECT_EQ(next(*subject), ScanResult::Clean);
        const bool released = seen.expired();
        subject.reset();
        return kept && released;
    }
};

TEST_F(SessionData, OfABlockedMailIsReleasedByASmallScanThatIsCleanOrFails)
{
    const auto health = [](session_impl& one) { return one.scan(scan_health{}); };
    const auto certificate = [](session_impl& one) { return one.scan(scan_certificate{}); };
    for (const std::string& answer : {reply::no_content(), reply::bare(404, "Not Found")}) {
        EXPECT_TRUE(releases(health, answer)) << answer;
        EXPECT_TRUE(releases(certificate, answer)) << answer;
    }
}

/// Holds a callback of the session until a condition is met, and then gives other threads many chances to run.
class holding_notifier final : public istag_notifier
{
public:
    explicit holding_notifier(std::function<bool()> condition)
        : condition_(std::move(condition))
    {}
    void istag_changed() override
    {
        reached = true;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!(met = condition_()) && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        for (int chance = 0; chance < 100; ++chance) {
            std::this_thread::yield();
        }
    }
    std::atomic<bool> reached{false};
    std::atomic<bool> met{false};

private:
    std::function<bool()> condition_;
};

TEST_F(SessionData, OutlivesACallbackThatRunsDuringTheDestruction)
{
    serve(blocking().wait().send(reply::no_content("\"T-2\"")));
    open();
    const std::string end_of_destruction = name() + " destroyed";
    const std::string end_of_callback = "response 'no content' with istag=\"T-2\"";
    const test::log_capture log;
    bool outlived = false;
    const auto data = std::make_shared<test::string_data>("body");
    scan_mail_of({data.get(), [&](web::io_data*) { outlived = log.contains(end_of_callback); }});
    holding_notifier notifier([&] { return log.contains(end_of_destruction); });
    subject->set_istag_notifier(&notifier);
    peer->release();
    while (!notifier.reached) {
        std::this_thread::yield();
    }
    subject.reset();
    EXPECT_TRUE(notifier.met) << "the destruction waited for the callback ahead of its last line";
    EXPECT_TRUE(outlived);
}

} // namespace
