#include "tests/tool/icap_client/joined.h"
#include "tests/tool/icap_client/parsed_http.h"
#include "tests/tool/icap_client/string_data.h"
#include "tool/icap_client/request_templates.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The order in which placeholders are filled: a value that contains a placeholder is changed only by those that are
/// filled behind its own.
namespace request_fill_order_test {

using namespace icap::client;
using test::joined;

/// The values that are copied into a head as they are, by the name of their placeholder.
using raw_values = std::map<std::string, std::string>;

struct request_kind
{
    std::string name;
    std::vector<std::string> order; ///< all placeholders of the head
    std::function<std::string(const raw_values& values)> build;
};

const auto get = test::http_message("GET / HTTP/1.1\r\n\r\n");
const auto page = test::http_message("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");

std::string options_of(const raw_values& values)
{
    return build_options_request(values.at("%HOST%"), values.at("%URL%"));
}

std::string mail_of(const raw_values& values)
{
    scan_mail mail;
    mail.mime_type = values.at("%MIME_TYPE%");
    mail.tag = values.at("%TAG%");
    mail.data = std::make_shared<test::string_data>("body");
    return build_mail_request(values.at("%HOST%"), values.at("%CLIENT_IP%"), values.at("%URL%"), mail);
}

std::string health_of(const raw_values& values)
{
    return build_health_request(values.at("%HOST%"), values.at("%CLIENT_IP%"), values.at("%URL%"), {});
}

std::string certificate_of(const raw_values& values)
{
    return build_certificate_request(values.at("%HOST%"), values.at("%CLIENT_IP%"), values.at("%URL%"), {});
}

std::string http_request_of(const raw_values& values)
{
    scan_http_request request;
    request.request = get.get();
    return build_reqmod_preview(values.at("%HOST%"), values.at("%CLIENT_IP%"), values.at("%URL%"), request, "");
}

std::string http_response_of(const raw_values& values)
{
    scan_http_response response;
    response.request = get.get();
    response.response = page.get();
    return build_respmod_preview(values.at("%HOST%"), values.at("%CLIENT_IP%"), values.at("%URL%"), response, "");
}

std::string object_of(const raw_values& values)
{
    return build_object_preview(values.at("%HOST%"), values.at("%CLIENT_IP%"), values.at("%URL%"), "name", 4, "");
}

const std::vector<request_kind>& kinds()
{
    static const std::vector<request_kind> all{
        {"options", {"%URL%", "%HOST%"}, options_of},
        {"mail",
         {"%URL%", "%HOST%", "%CLIENT_IP%", "%PROCESS_NAME%", "%PID%", "%SID%", "%USER_NAME%", "%TYPE%", "%MIME_TYPE%",
          "%SUBJECT%", "%TAG%", "%ATTACH%", "%REQ_BODY%"},
         mail_of},
        {"health",
         {"%URL%", "%HOST%", "%CLIENT_IP%", "%USER_NAME%", "%HEALTH%", "%PREVIEW_SIZE%", "%REQ_BODY%"},
         health_of},
        {"certificate",
         {"%URL%", "%HOST%", "%CLIENT_IP%", "%USER_NAME%", "%PROCESS_NAME%", "%PID%", "%CERT_NAME%", "%PREVIEW_SIZE%",
          "%REQ_BODY%"},
         certificate_of},
        {"HTTP request",
         {"%URL%", "%HOST%", "%CLIENT_IP%", "%USER_NAME%", "%PROCESS_NAME%", "%PID%", "%SID%", "%HTTPS_CONN%",
          "%PREVIEW_SIZE%", "%REQ_BODY%"},
         http_request_of},
        {"HTTP response",
         {"%URL%", "%HOST%", "%CLIENT_IP%", "%USER_NAME%", "%PROCESS_NAME%", "%PID%", "%PREVIEW_SIZE%", "%SID%",
          "%HTTPS_CONN%", "%RES_HDR%", "%RES_BODY%"},
         http_response_of},
        {"object", {"%URL%", "%HOST%", "%CLIENT_IP%", "%PREVIEW_SIZE%", "%RES_HDR%", "%RES_BODY%"}, object_of}};
    return all;
}

std::string head_of(const std::string& request)
{
    return request.substr(0, request.find("\r\n\r\n"));
}

TEST(FillOrder, ChangesAValueOnlyByThePlaceholdersBehindItsOwn)
{
    const raw_values plain{{"%URL%", "u"}, {"%HOST%", "h"}, {"%CLIENT_IP%", "i"}, {"%MIME_TYPE%", "m"}, {"%TAG%", "t"}};
    for (const request_kind& kind : kinds()) {
        for (std::size_t own = 0; own < kind.order.size(); ++own) {
            if (!plain.contains(kind.order[own])) {
                continue; // its value is encoded or a number
            }
            for (std::size_t other = 0; other < kind.order.size(); ++other) {
                const std::string brought = joined({"<", kind.order[other], ">"});
                raw_values values = plain;
                values[kind.order[own]] = brought;
                const std::string head = head_of(kind.build(values));
                // The first occurrence is filled, and the preview's line precedes the one of the client's address.
                const bool first = kind.order[own] != "%CLIENT_IP%" || kind.order[other] != "%PREVIEW_SIZE%";
                const bool changed = other > own && first;
                const bool kept = head.find(brought) != std::string::npos;
                EXPECT_EQ(kept, !changed) << kind.name << ": " << kind.order[own] << " with " << brought;
                // What was filled in the value's place is missing in its own.
                const bool missing = head.find(joined({" ", kind.order[other]})) != std::string::npos ||
                                     head.find(joined({"=", kind.order[other]})) != std::string::npos;
                EXPECT_EQ(missing, changed) << kind.name << ": " << kind.order[own] << " with " << brought;
            }
        }
    }
}

TEST(FillOrder, PutsTheHostIntoAnAddressThatNamesIt)
{
    EXPECT_EQ(build_options_request("127.0.0.1", "icap://127.0.0.1:1344/%HOST%"),
              "OPTIONS icap://127.0.0.1:1344/127.0.0.1 ICAP/1.0\r\n"
              "Host: %HOST%\r\n"
              "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
              "Encapsulated: null-body=0\r\n\r\n");
}

TEST(FillOrder, PutsTheTagIntoAMimeTypeThatNamesIt)
{
    scan_mail mail;
    mail.mime_type = "text/%TAG%";
    mail.tag = "abc";
    mail.data = std::make_shared<test::string_data>("body");
    const std::string request = build_mail_request("h", "i", "u", mail);
    EXPECT_NE(request.find("\r\nX-Mime-Type: text/abc\r\n"), std::string::npos);
    EXPECT_NE(request.find("\r\nX-Mail-Tag: %TAG%\r\n"), std::string::npos);
}

TEST(FillOrder, PutsTheLengthIntoATagThatNamesItInTheHttpHeader)
{
    scan_mail mail;
    mail.tag = "%LENGTH%";
    mail.data = std::make_shared<test::string_data>("body");
    EXPECT_TRUE(build_mail_request("h", "i", "u", mail)
                    .ends_with("\r\n\r\nPOST http://check_mail?tag=4 HTTP/1.1\r\nContent-Length: %LENGTH%\r\n\r\n"));
}

} // namespace request_fill_order_test
