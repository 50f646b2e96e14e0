#include "tests/tool/icap_client/session_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;

class HardenedScan : public test::session_fixture
{
protected:
    HardenedScan()
    {
        mail.data = data;
        mail.timeout = 20000;
        mail.hardened = true;
    }
    /// Returns a script that reads one mail.
    static conversation after_a_mail() { return std::move(greeted().expect_until("\r\n0\r\n\r\n")); }
    ScanResult scan() { return subject->scan(mail, answer); }

    scan_mail mail;
    std::shared_ptr<test::string_data> data = std::make_shared<test::string_data>("body");
    session::answer_ptr answer;
};

TEST_F(HardenedScan, TakesEachVerdictAsItIs)
{
    auto script = after_a_mail();
    script.send(reply::no_content()).expect_until("\r\n0\r\n\r\n").send(reply::blocked("Bad"));
    serve(std::move(script));
    open();
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(scan(), ScanResult::Blocked);
    EXPECT_NE(answer, nullptr);
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(HardenedScan, WithoutAnAnswerIsNoVerdict)
{
    serve(after_a_mail());
    open();
    mail.timeout = 150;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::None);
    EXPECT_TRUE(log.contains("failed: send request timeout occured"));
    EXPECT_EQ(answer, nullptr);
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(HardenedScan, OfAnUnreadableObjectIsNoVerdict)
{
    serve(greeted());
    open();
    mail.data.reset();
    EXPECT_EQ(scan(), ScanResult::None);
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(HardenedScan, IsSentAsOneRequestWhateverItsTagIs)
{
    auto script = greeted();
    const std::string tags[] = {"a\x01z", "a HTTP/1.1 z", "%LENGTH%", "a\r\nEncapsulated: null-body=0\r\n\r\nz"};
    for (std::size_t i = 0; i < std::size(tags); ++i) {
        script.expect_until("\r\n0\r\n\r\n").send(reply::blocked("Bad"));
    }
    serve(std::move(script));
    open();
    for (const std::string& tag : tags) {
        mail.tag = tag;
        EXPECT_EQ(scan(), ScanResult::Blocked) << tag;
    }
    EXPECT_FALSE(subject->is_invalid());
    EXPECT_TRUE(peer->complaints().empty());
}

TEST_F(HardenedScan, LeavesARepairToItsCaller)
{
    auto script = after_a_mail();
    script.send(reply::repaired("healed")).expect_until("\r\n0\r\n\r\n").send(reply::repaired("healed"));
    serve(std::move(script));
    open();
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_EQ(data->text(), "body");
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->response().body().size(), 6U);
    mail.data.reset();
    EXPECT_EQ(data.use_count(), 1) << "the session has let go of the object";
    mail.hardened = false;
    mail.data = data;
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_EQ(data->text(), "healed") << "any other scan writes it into the object";
}

} // namespace
