#include "service/engine/builtin_engine.h"
#include "service/object_lists.h"
#include "tests/service/engine/given_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"
#include "tool/system/base64.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace object_lists_test {

using service::cause;
using service::object_lists;
using test::answer;
using test::started_server;
using testing::HasSubstr;

const std::string body(100, 'x');

std::string http_head(std::string_view start, std::string_view type)
{
    std::string head(start);
    head.append("\r\n");
    if (!type.empty()) {
        head.append("Content-Type: ").append(type).append("\r\n");
    }
    return head.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n\r\n");
}

std::string with_body(std::string head)
{
    return head.append(test::chunk(body)).append(test::end_mark);
}

/// `kind` is 1 for a body, 2 for an attachment.
std::string mail(int kind, std::string_view name, std::string_view type)
{
    std::string fields = "Allow: 204\r\nX-Mime-Type: ";
    fields.append(type).append("\r\nX-Mail-Type: ").append(std::to_string(kind));
    fields.append("\r\nX-Mail-Attach-Name: ").append(winapi::base64::encode(std::string(name))).append("\r\n");
    return with_body(test::reqmod_head(http_head("POST http://check_mail?tag=t HTTP/1.1", ""), fields));
}

std::string download(std::string_view uri, std::string_view type)
{
    const std::string request = "GET " + std::string(uri) + " HTTP/1.1\r\n\r\n";
    return with_body(test::respmod_head(request, http_head("HTTP/1.1 200 OK", type)));
}

std::string upload(std::string_view uri, std::string_view type)
{
    return with_body(test::reqmod_head(http_head("POST " + std::string(uri) + " HTTP/1.1", type)));
}

class lists_over_the_wire : public testing::Test
{
protected:
    lists_over_the_wire()
    {
        options.custom_engine = engine;
        options.lists.forbidden_names = {"*.exe", "*.com", "secret?.txt"};
        options.lists.forbidden_types = {"application/x-msdownload", "image/*", "text/html"};
        options.lists.ignored_threats = {"Harmless.*", "PUA.?"};
    }

    /// Returns the threat in the answer; empty for a clean one.
    std::string threat(const std::string& request)
    {
        started_server server(options);
        const int before = engine->scans();
        const answer reply = server.client().ask(request);
        asked = engine->scans() != before;
        page = reply.object();
        const std::string field = reply.field("X-Infection-Found");
        EXPECT_EQ(reply.status(), field.empty() ? 204U : 200U);
        constexpr std::string_view heading = "Type=0;Resolution=2;Threat=";
        return field.starts_with(heading) ? field.substr(heading.size(), field.size() - heading.size() - 1) : field;
    }

    std::string found; ///< threat that the engine finds; empty for none
    std::shared_ptr<test::given_engine> engine =
        std::make_shared<test::given_engine>([this](const std::string& object) -> service::verdict {
            EXPECT_TRUE(object.empty() || object == body);
            return found.empty() ? service::verdict(service::clean_verdict{})
                                 : service::verdict(service::blocked_verdict{found});
        });
    service::server_options options;
    bool asked = false; ///< an engine was, for the last request
    std::string page;
};

TEST_F(lists_over_the_wire, condemn_names_without_an_engine)
{
    const test::log_capture log;
    for (const std::string_view name : {"a.exe", "A.EXE", "a.exe. ",
                                        "\xE2\x80\xAE"
                                        "fdp.exe",
                                        "SECRET1.txt"}) {
        EXPECT_EQ(threat(mail(2, name, "text/plain")), "Blocked.Name") << name;
        EXPECT_FALSE(asked);
    }
    EXPECT_TRUE(log.contains(") withheld 'SECRET1.txt': Blocked.Name"));
    EXPECT_THAT(page, HasSubstr("<h1>Content that is not allowed was removed</h1>"));
    EXPECT_THAT(page, HasSubstr("<td>SECRET1.txt</td>"));
    EXPECT_THAT(page, HasSubstr("<td>Its name is not allowed.</td>"));
    for (const std::string_view name : {"a.exe.txt", "secret.txt", ""}) {
        EXPECT_EQ(threat(mail(2, name, "text/plain")), "") << name;
        EXPECT_TRUE(asked);
    }
}

TEST_F(lists_over_the_wire, condemn_a_name_that_is_no_base64_as_it_is)
{
    std::string request = mail(2, "", "text/plain");
    const std::string line = "X-Mail-Attach-Name: ";
    request.insert(request.find(line) + line.size(), "a.exe");
    EXPECT_EQ(threat(request), "Blocked.Name");
}

TEST_F(lists_over_the_wire, condemn_types_without_an_engine)
{
    for (const std::string_view type :
         {"application/x-msdownload", "Application/X-MSDownload", "image/png; name=a", "image/gif (picture)"}) {
        EXPECT_EQ(threat(mail(2, "a", type)), "Blocked.Type") << type;
        EXPECT_FALSE(asked);
    }
    EXPECT_THAT(page, HasSubstr("<td>Its type is not allowed.</td>"));
    for (const std::string_view type : {"application/pdf", "application/x-msdownloads", "image", ""}) {
        EXPECT_EQ(threat(mail(2, "a", type)), "") << type;
        EXPECT_TRUE(asked);
    }
}

TEST_F(lists_over_the_wire, do_not_take_the_type_of_bodies_and_attached_messages_at_its_word)
{
    EXPECT_EQ(threat(mail(2, "a", "text/html")), "Blocked.Type");
    EXPECT_EQ(threat(mail(2, "", "text/html")), "");
    EXPECT_EQ(threat(mail(1, "", "text/html")), "");
    EXPECT_EQ(threat(mail(1, "a.exe", "text/html")), "");
}

TEST_F(lists_over_the_wire, concern_downloads_by_their_path_and_type)
{
    EXPECT_EQ(threat(download("http://host/a.exe", "")), "Blocked.Name");
    EXPECT_EQ(threat(download("http://host/dir/A%2eExE?x=/y.txt", "")), "Blocked.Name");
    EXPECT_EQ(threat(download("/a.exe#top", "")), "Blocked.Name");
    EXPECT_EQ(threat(download("http://host/a", "image/png")), "Blocked.Type");
    EXPECT_EQ(threat(download("http://example.com", "")), "");
    EXPECT_EQ(threat(download("http://example.com/", "")), "");
    EXPECT_EQ(threat(download("http://host/a?x=b.exe", "application/pdf")), "");
}

TEST_F(lists_over_the_wire, concern_uploads_by_their_type_only)
{
    EXPECT_EQ(threat(upload("http://host/a.exe", "text/plain")), "");
    EXPECT_EQ(threat(upload("http://host/a", "image/png")), "Blocked.Type");
}

TEST_F(lists_over_the_wire, do_not_concern_requests_without_an_object)
{
    options.lists.forbidden_names = {"*"};
    options.lists.forbidden_types = {"*/*"};
    const started_server server(options);
    const std::string request =
        test::reqmod_head("GET http://check_certificate?sni=example.com HTTP/1.1\r\n\r\n",
                          "Allow: 204\r\nPreview: 0\r\nX-Certificate-Name: QQ==\r\n", test::service_uri, false);
    EXPECT_EQ(server.client().ask(request).status(), 204U);
    EXPECT_EQ(server.client().ask(test::health_request()).status(), 204U);
}

TEST_F(lists_over_the_wire, ignore_threats)
{
    const test::log_capture log;
    found = "harmless.Adware-1";
    EXPECT_EQ(threat(mail(2, "a.txt", "text/plain")), "");
    EXPECT_TRUE(asked);
    EXPECT_TRUE(log.contains(") ignored 'a.txt': harmless.Adware-1"));
    EXPECT_FALSE(log.contains("blocked"));
    found = "PUA.A";
    EXPECT_EQ(threat(mail(1, "", "text/html")), "");
    for (const std::string_view other : {"PUA.AB", "Win.Harmless.A", "Other"}) {
        found = other;
        EXPECT_EQ(threat(mail(2, "a.txt", "text/plain")), other);
    }
}

TEST(object_lists, ignore_threats_in_either_form)
{
    const object_lists lists({{"A B", "C_D"}, {}, {}});
    EXPECT_TRUE(lists.ignores("a b"));
    EXPECT_TRUE(lists.ignores("c d"));
    EXPECT_FALSE(lists.ignores("a_b"));
}

TEST(object_lists, leave_repairable_objects_alone_if_their_threat_is_ignored)
{
    service::server_options options;
    options.lists.ignored_threats = {"Repairable-*"};
    const started_server server(options);
    const std::string text = service::repairable_test_text();
    EXPECT_EQ(server.client().ask(test::mail_request(text)).status(), 204U);
    const answer back = server.client().ask(test::mail_request(text, ""));
    EXPECT_EQ(back.status(), 200U);
    EXPECT_EQ(back.object(), text);
}

TEST(object_lists, are_empty_at_first)
{
    const object_lists lists({});
    EXPECT_EQ(lists.forbid({"a.exe", "application/x-msdownload"}), std::nullopt);
    EXPECT_FALSE(lists.ignores("Any"));
}

TEST(object_lists, refuse_patterns_that_cannot_match)
{
    EXPECT_THROW(object_lists({{""}, {}, {}}), std::invalid_argument);
    for (const char* name : {"", "dir/a.exe", "dir\\a.exe", "a.exe:x"}) {
        EXPECT_THROW(object_lists({{}, {name}, {}}), std::invalid_argument) << name;
    }
    for (const char* type : {"", "exe", "a/b/c", "a/b; c=d", "a /b"}) {
        EXPECT_THROW(object_lists({{}, {}, {type}}), std::invalid_argument) << type;
    }
    service::server_options options;
    options.lists.forbidden_types = {"exe"};
    EXPECT_THROW(service::scan_server{options}, std::invalid_argument);
}

} // namespace object_lists_test
