#include "tests/tool/icap_client/session_fixture.h"
#include "tool/icap_client/request_templates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;
using test::joined;
using texts = std::vector<std::string>;

class HealthScan : public test::session_fixture
{
protected:
    HealthScan()
    {
        health.user_name = "S-1-1-0";
        health.health = "Is scanner available?";
        health.timeout = 20000;
    }
    static conversation answering(const std::string& answer)
    {
        return std::move(greeted(5).expect_until("GET http://health_test HTTP/1.1\r\n\r\n").send(answer));
    }
    scan_health health;
};

TEST_F(HealthScan, SendsItsHeadAndNoBody)
{
    serve(answering(reply::no_content()));
    open();
    const test::log_capture log;
    EXPECT_EQ(subject->scan(health), ScanResult::Clean);
    EXPECT_EQ(request(), joined({"REQMOD ", url(),
                                 " ICAP/1.0\r\n"
                                 "Host: 127.0.0.1\r\n"
                                 "Allow: 204\r\n"
                                 "Preview: 0\r\n"
                                 "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                 "X-Client-IP: 127.0.0.1\r\n"
                                 "X-Authenticated-User: TG9jYWw6Ly9TLTEtMS0w\r\n"
                                 "X-Health-Test: SXMgc2Nhbm5lciBhdmFpbGFibGU/\r\n"
                                 "Encapsulated: req-hdr=0, null-body=35\r\n\r\n"
                                 "GET http://health_test HTTP/1.1\r\n\r\n"}));
    EXPECT_EQ(lines(log), (texts{"500 S health request 'Is scanner available?'",
                                 "500 S send REQMOD request (preview) health 'Is scanner available?'",
                                 "500 S send request and wait reply",
                                 "500 S request has been completed: response 'no content' with istag=\"T-1\"",
                                 "500 S health request 'Is scanner available?' is successfully completed"}));
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(HealthScan, BlockedIsTold)
{
    serve(answering(reply::blocked("X")));
    open();
    const test::log_capture log;
    EXPECT_EQ(subject->scan(health), ScanResult::Blocked);
    EXPECT_TRUE(log.contains(") health request 'Is scanner available?' has been blocked by scanner"));
}

TEST_F(HealthScan, ARepairIsNeitherCleanNorBlocked)
{
    serve(answering(reply::repaired("healed")));
    open();
    EXPECT_EQ(subject->scan(health), ScanResult::None);
}

TEST_F(HealthScan, NoAnswerFailsOpen)
{
    serve(std::move(greeted().wait()));
    open();
    health.timeout = 60;
    const test::log_capture log;
    EXPECT_EQ(subject->scan(health), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(), "200 S health request: 'Is scanner available?' failed: send request timeout occured");
    EXPECT_TRUE(subject->is_invalid());
}

class CertificateScan : public test::session_fixture
{
protected:
    CertificateScan()
    {
        certificate.user_name = "me";
        certificate.process_name = "p.exe";
        certificate.process_id = 7;
        certificate.sni = "www.example";
        certificate.certificate_name = L"cert.example";
        certificate.timeout = 20000;
    }
    static conversation answering(const std::string& answer)
    {
        return std::move(greeted(5).expect_until("sni=www.example HTTP/1.1\r\n\r\n").send(answer));
    }
    scan_certificate certificate;
};

TEST_F(CertificateScan, SendsItsHeadAndNoBody)
{
    serve(answering(reply::no_content()));
    open();
    const test::log_capture log;
    EXPECT_EQ(subject->scan(certificate), ScanResult::Clean);
    EXPECT_EQ(request(), build_certificate_request("127.0.0.1", "127.0.0.1", url(), certificate));
    EXPECT_EQ(lines(log), (texts{"500 S scan certificate'cert.example', process='p.exe', pid=7",
                                 "500 S send REQMOD request (preview) certificate 'cert.example'",
                                 "500 S send request and wait reply",
                                 "500 S request has been completed: response 'no content' with istag=\"T-1\"",
                                 "500 S scan certificate 'cert.example' is clean. server returns 'no content'"}));
}

TEST_F(CertificateScan, BlockedIsTold)
{
    serve(answering(reply::blocked("X")));
    open();
    const test::log_capture log;
    EXPECT_EQ(subject->scan(certificate), ScanResult::Blocked);
    EXPECT_EQ(lines(log).back(), "500 S scan certificate 'cert.example' has been blocked by scanner");
}

TEST_F(CertificateScan, AnErrorFailsOpen)
{
    serve(answering(reply::bare(404, "Not Found")));
    open();
    const test::log_capture log;
    EXPECT_EQ(subject->scan(certificate), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(), "200 S scan certificate: request failed: server reply with error, certificate "
                                 "'cert.example' skipped. scan result is cleaned");
    EXPECT_TRUE(subject->is_invalid());
}

/// Counts the calls of its one operation.
class counting_notifier final : public istag_notifier
{
public:
    void istag_changed() override { ++calls; }
    std::atomic<int> calls{0};
};

class IstagTracking : public HealthScan
{
protected:
    void serve_answers(const std::vector<std::string>& answers)
    {
        auto script = greeted();
        for (const auto& text : answers) {
            script.expect_until("GET http://health_test HTTP/1.1\r\n\r\n").send(text);
        }
        serve(std::move(script));
        open();
        subject->set_istag_notifier(&notifier);
    }
    counting_notifier notifier;
};

TEST_F(IstagTracking, TheSameTagCallsNothing)
{
    serve_answers({reply::no_content()});
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 0);
}

TEST_F(IstagTracking, EachChangeCallsOnceBeforeTheCallbacksOwnLine)
{
    serve_answers({reply::no_content("b"), reply::no_content("b"), reply::blocked("X"), reply::go_on("c")});
    const test::log_capture log;
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 1);
    EXPECT_EQ(subject->istag(), "b");
    const auto all = lines(log);
    ASSERT_EQ(all.size(), 6U);
    EXPECT_EQ(all[3], "500 istag changed: reset driver cache");
    EXPECT_EQ(all[4], "500 S request has been completed: response 'no content' with istag=b");
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 1);
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 2);
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 3);
    EXPECT_EQ(subject->istag(), "c");
}

TEST_F(IstagTracking, ARepairCountsToo)
{
    serve_answers({reply::with_body(201, "", "x", "r")});
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 1);
}

TEST_F(IstagTracking, AnErrorDoesNotCount)
{
    serve_answers({reply::bare(500, "Error", "other")});
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 0);
    EXPECT_EQ(subject->istag(), "\"T-1\"");
}

TEST_F(IstagTracking, AnotherOptionsAnswerStoresWithoutCalling)
{
    serve_answers({reply::options(9, "new")});
    subject->scan(health);
    EXPECT_EQ(notifier.calls, 0);
    EXPECT_EQ(subject->istag(), "new");
    EXPECT_EQ(subject->preview_size(), 9U);
}

TEST_F(IstagTracking, WithoutANotifierNothingIsTold)
{
    serve_answers({reply::no_content("b")});
    subject->set_istag_notifier(nullptr);
    const test::log_capture log;
    subject->scan(health);
    EXPECT_FALSE(log.contains("istag changed"));
    EXPECT_EQ(subject->istag(), "b");
}

TEST_F(IstagTracking, ComesAheadOfTheLineOfEachCallback)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {reply::go_on("n"), "500 S request preview has been completed: response 'continue' with istag=n"},
        {reply::no_content("n"), "500 S request has been completed: response 'no content' with istag=n"},
        {reply::with_body(200, "Threat=X", "no", "n"),
         "500 S request has been completed: response 'blocked' threat='X' with istag=n"},
        {reply::with_body(201, "", "x", "n"), "500 S request has been completed: response 'repaired' with istag=n"}};
    for (const auto& [answer, line] : cases) {
        subject.reset();
        serve_answers({answer});
        const test::log_capture log;
        subject->scan(health);
        const auto all = lines(log);
        const auto tracked = std::find(all.begin(), all.end(), "500 istag changed: reset driver cache");
        ASSERT_LT(tracked + 1, all.end()) << line;
        EXPECT_EQ(tracked[1], line);
    }
    EXPECT_EQ(notifier.calls, 4);
}

} // namespace
