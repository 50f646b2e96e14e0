#include "tests/tool/icap_client/parsed_http.h"
#include "tests/tool/icap_client/session_fixture.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What the start of a scan clears of the scan before it, for each kind of scan.
namespace scan_start_test {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;

const std::string body_end = "\r\n0\r\n\r\n"; ///< also ends an empty preview
const std::string rest_end = "0\r\n\r\n";
const std::string head_end = " HTTP/1.1\r\n\r\n";

struct scan_kind
{
    std::string name;
    std::string marker; ///< end of the request, or of its preview
    bool preview;
    std::function<ScanResult(session_impl& subject)> run;
};

class ScanStart : public test::session_fixture
{
protected:
    ScanStart()
    {
        const std::string text = "hello";
        request->append(text.data(), text.data() + text.size());
        page->append(text.data(), text.data() + text.size());
    }

    [[nodiscard]] ScanResult scan_mail_of(std::shared_ptr<web::io_data> data)
    {
        scan_mail mail;
        mail.data = std::move(data);
        return subject->scan(mail, answer);
    }
    [[nodiscard]] ScanResult scan_object_of(std::shared_ptr<web::io_data> data)
    {
        scan_object object;
        object.object_name = "thing";
        object.data = std::move(data);
        return subject->scan(object);
    }
    [[nodiscard]] ScanResult scan_request()
    {
        scan_http_request parameters;
        parameters.request = request.get();
        return subject->scan(parameters, answer);
    }
    [[nodiscard]] ScanResult scan_response()
    {
        scan_http_response parameters;
        parameters.request = request.get();
        parameters.response = page.get();
        return subject->scan(parameters, answer);
    }

    /// Returns the six kinds; a mail and an object refuse to be overwritten.
    [[nodiscard]] std::array<scan_kind, 6> kinds()
    {
        const auto fixed = std::make_shared<test::string_data>("hello");
        fixed->raise_on_write = true;
        return {{{"mail", body_end, false, [=, this](session_impl&) { return scan_mail_of(fixed); }},
                 {"health", head_end, false, [](session_impl& one) { return one.scan(scan_health{}); }},
                 {"certificate", head_end, false, [](session_impl& one) { return one.scan(scan_certificate{}); }},
                 {"HTTP response", body_end, true, [this](session_impl&) { return scan_response(); }},
                 {"HTTP request", body_end, true, [this](session_impl&) { return scan_request(); }},
                 {"object", body_end, true, [=, this](session_impl&) { return scan_object_of(fixed); }}}};
    }
    /// Opens the next session, with a script of its own.
    void open_with(conversation script)
    {
        subject.reset();
        serve(std::move(script));
        open();
    }
    /// Opens a session, and scans a mail of `data` that is blocked; `script` follows.
    void open_blocked(std::shared_ptr<web::io_data> data, const std::function<void(conversation&)>& script)
    {
        auto steps = greeted().expect_until(body_end).send(reply::blocked("X"));
        script(steps);
        open_with(std::move(steps));
        EXPECT_EQ(scan_mail_of(std::move(data)), ScanResult::Blocked);
    }

    std::unique_ptr<http::message> request = test::http_message("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n");
    std::unique_ptr<http::message> page = test::http_message("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
    session::answer_ptr answer;
};

TEST_F(ScanStart, ClearsTheErrorOfTheScanBefore)
{
    for (const scan_kind& kind : kinds()) {
        open_with(greeted()
                      .expect_until(kind.marker)
                      .send(reply::bare(500, "Error"))
                      .expect_until(kind.marker)
                      .send(reply::no_content()));
        EXPECT_EQ(kind.run(*subject), ScanResult::Clean) << kind.name;
        EXPECT_TRUE(subject->is_invalid()) << kind.name;
        const test::log_capture log(200);
        EXPECT_EQ(kind.run(*subject), ScanResult::Clean) << kind.name;
        EXPECT_TRUE(log.texts("icapclnt").empty()) << kind.name;
        EXPECT_FALSE(subject->is_invalid()) << kind.name;
    }
}

TEST_F(ScanStart, ClearsTheResultOfTheScanBefore)
{
    for (const scan_kind& kind : kinds()) {
        auto script = greeted().expect_until(kind.marker).send(reply::blocked("X"));
        const bool object = kind.name == "object"; // after any answer to its preview, the rest is sent
        if (object) {
            script.expect_until(rest_end).send(reply::blocked("Y"));
        }
        script.expect_until(kind.marker);
        if (kind.preview) {
            script.send(reply::go_on()).expect_until(rest_end);
        }
        script.send(reply::repaired("healed")); // which cannot be stored
        open_with(std::move(script));
        EXPECT_EQ(kind.run(*subject), ScanResult::Blocked) << kind.name;
        EXPECT_EQ(kind.run(*subject), ScanResult::None) << kind.name;
        EXPECT_TRUE(peer->complaints().empty()) << kind.name;
    }
}

TEST_F(ScanStart, OfAnHttpMessageReleasesTheDataOfABlockedMail)
{
    for (const bool of_request : {true, false}) {
        auto data = std::make_shared<test::string_data>("body");
        const std::weak_ptr<test::string_data> seen = data;
        open_blocked(std::move(data),
                     [](conversation& script) { script.expect_until(body_end).send(reply::blocked("Y")); });
        EXPECT_FALSE(seen.expired());
        EXPECT_EQ(of_request ? scan_request() : scan_response(), ScanResult::Blocked);
        EXPECT_TRUE(seen.expired()) << of_request;
    }
}

TEST_F(ScanStart, OfAMailOrAnObjectReplacesTheDataOfABlockedMail)
{
    for (const bool of_mail : {true, false}) {
        auto data = std::make_shared<test::string_data>("body");
        const std::weak_ptr<test::string_data> seen = data;
        open_blocked(std::move(data), [&](conversation& script) {
            script.expect_until(body_end);
            if (!of_mail) {
                script.send(reply::go_on()).expect_until(rest_end);
            }
            script.send(reply::repaired("healed"));
        });
        const auto next = std::make_shared<test::string_data>("other");
        EXPECT_EQ(of_mail ? scan_mail_of(next) : scan_object_of(next), ScanResult::Repaired);
        EXPECT_EQ(next->text(), "healed");
        EXPECT_TRUE(seen.expired()) << of_mail;
    }
}

TEST_F(ScanStart, OfAQuestionLeavesTheDataOfABlockedMailInPlace)
{
    for (const bool of_health : {true, false}) {
        const auto data = std::make_shared<test::string_data>("body");
        open_blocked(data, [](conversation& script) { script.expect_until(head_end).send(reply::repaired("healed")); });
        EXPECT_EQ(of_health ? subject->scan(scan_health{}) : subject->scan(scan_certificate{}), ScanResult::Repaired);
        EXPECT_EQ(data->text(), "healed") << of_health;
    }
}

TEST_F(ScanStart, OfAnObjectTooSmallToBeSentLeavesTheDataOfABlockedMailInPlace)
{
    auto data = std::make_shared<test::string_data>("body");
    const std::weak_ptr<test::string_data> seen = data;
    open_blocked(std::move(data), [](conversation&) {});
    EXPECT_EQ(scan_object_of(std::make_shared<test::string_data>("abc")), ScanResult::Clean);
    EXPECT_FALSE(seen.expired());
    subject.reset();
    EXPECT_TRUE(seen.expired());
}

TEST_F(ScanStart, OfAnObjectWhoseScanFailedHasItsDataReleased)
{
    open_with(greeted().expect_until(body_end).send(reply::bare(500, "Error")));
    auto data = std::make_shared<test::string_data>("object");
    const std::weak_ptr<test::string_data> seen = data;
    EXPECT_EQ(scan_object_of(std::move(data)), ScanResult::Clean);
    EXPECT_TRUE(seen.expired());
}

} // namespace scan_start_test
