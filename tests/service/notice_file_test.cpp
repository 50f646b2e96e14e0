#include "service/engine/builtin_engine.h"
#include "service/notice_template.h"
#include "tests/service/engine/given_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace notice_file_test {

using service::cause;
using service::load_notice;
using service::notice_language;
using service::notice_template;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto english = notice_language::english;

class notice_file : public testing::Test
{
protected:
    /// Writes a file and returns its name in UTF-8.
    std::string file(std::string_view text, const std::u8string& name = u8"notice.html")
    {
        const std::filesystem::path path = folder_.path() / name;
        std::ofstream(path, std::ios::binary) << text;
        const std::u8string shown = path.u8string();
        return {shown.begin(), shown.end()};
    }
    std::string error_of(std::string_view text)
    {
        const std::string name = file(text);
        try {
            (void)load_notice(name, english);
        } catch (const std::invalid_argument& problem) {
            const std::string heading = "the notice '" + name + "': ";
            EXPECT_THAT(problem.what(), StartsWith(heading));
            return std::string(problem.what()).substr(heading.size());
        }
        return "none";
    }

    host::test::temporary_folder folder_;
};

TEST_F(notice_file, replaces_the_delivered_page)
{
    const std::string name = file("<p>{{name}} {{label_name}}</p>\r\n", u8"\u00FC.html");
    EXPECT_EQ(load_notice(name, english).page({cause::threat, "t", "n"}), "<p>n Name</p>\r\n");
    EXPECT_EQ(load_notice("", english).page({cause::threat, "t", "n"}),
              notice_template().page({cause::threat, "t", "n"}));
}

TEST_F(notice_file, may_begin_with_a_byte_order_mark)
{
    EXPECT_EQ(load_notice(file("\xEF\xBB\xBF<p>"), english).page({}), "<p>");
    EXPECT_EQ(load_notice(file("\xEF\xBB\xBF" + std::string(notice_template::largest, 'x')), english).page({}),
              std::string(notice_template::largest, 'x'));
}

TEST_F(notice_file, is_refused_with_its_line_if_it_is_not_valid)
{
    EXPECT_EQ(error_of("<p>\n{{nane}}"), "line 2: '{{nane}}' is not known");
    EXPECT_EQ(error_of("<p>\n\n\xE4"), "line 3: not UTF-8");
    EXPECT_EQ(error_of("<p>\n<img src=\"http://host/a\">"),
              "line 2: 'src' is not allowed: a notice must be complete without anything outside of it");
    EXPECT_EQ(error_of(std::string(notice_template::largest + 1, 'x')), "more than 262144 bytes");
    EXPECT_EQ(error_of(std::string(2 * notice_template::largest, 'x')), "more than 262144 bytes");
    EXPECT_EQ(error_of("<p>\n<p title={{name}}>"),
              "line 2: '{{name}}' is allowed in the text only, not in a tag, a comment or a style sheet");
    EXPECT_EQ(error_of(""), "none");
}

TEST_F(notice_file, may_be_the_delivered_page)
{
    const auto loaded = load_notice(file(service::delivered_notice()), english);
    EXPECT_EQ(loaded.page({cause::threat, "t", "n"}), notice_template().page({cause::threat, "t", "n"}));
}

TEST_F(notice_file, that_cannot_be_read_is_another_error)
{
    const std::string name = file("x") + ".none";
    for (const std::string& other : {name, std::string(std::filesystem::path(name).parent_path().string())}) {
        try {
            (void)load_notice(other, english);
            ADD_FAILURE() << other;
        } catch (const std::invalid_argument&) {
            ADD_FAILURE() << other;
        } catch (const std::runtime_error& problem) {
            EXPECT_THAT(problem.what(), StartsWith("the notice '" + other + "': "));
        }
        service::server_options options;
        options.notice_file = other;
        EXPECT_THROW(service::scan_server{options}, std::runtime_error);
    }
}

TEST_F(notice_file, is_what_the_service_answers)
{
    service::server_options options;
    options.notice_file = file("[{{name}}|{{threat}}|{{reason}}|{{heading}}]");
    options.language = notice_language::german;
    options.lists.forbidden_names = {"*.bin"};
    const test::started_server server(options);
    EXPECT_EQ(server.client().ask(test::mail_request(service::antivirus_test_text())).object(),
              "[|EICAR-Test-File||Sch\xC3\xA4"
              "dlicher Inhalt wurde gefunden und entfernt]");
    EXPECT_EQ(server.client().ask(test::object_request_head(1, 1) + test::standard_preview("x", 1, true)).object(),
              "[file.bin||Sein Name ist nicht erlaubt.|Nicht erlaubter Inhalt wurde entfernt]");
}

TEST_F(notice_file, is_never_filled_from_what_a_sender_writes)
{
    service::server_options options;
    options.notice_file = file("[{{name}}]");
    options.custom_engine = std::make_shared<test::given_engine>(
        [](const std::string&) { return service::verdict(service::blocked_verdict{"{{advice}}"}); });
    const test::started_server server(options);
    // "{{threat}}<b>"
    const std::string request = test::reqmod_head("POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: 1\r\n\r\n",
                                                  "Allow: 204\r\nX-Mail-Type: 2\r\n"
                                                  "X-Mail-Attach-Name: e3t0aHJlYXR9fTxiPg==\r\n") +
                                test::chunk("x") + "0\r\n\r\n";
    EXPECT_EQ(server.client().ask(request).object(), "[{{threat}}&lt;b&gt;]");
}

} // namespace notice_file_test
