#include "tests/end_to_end/disinfected_message.h"

#include "digest/sha256.h"
#include "service/notice_page.h"
#include "service/safe_text.h"
#include "tests/end_to_end/desk.h"
#include "tool/system/conversions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <optional>

namespace test {

namespace {

using host::message_record;
using host::property_bag;
using nlohmann::json;

constexpr std::size_t looked_at = 100;
constexpr std::uint64_t size_limit = 20U << 20U;
constexpr const char* replaced_subject =
    "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.";

std::string digest_of(std::string_view data)
{
    digest::sha256 sum;
    sum.add(data);
    return digest::to_text(sum.finish());
}

std::optional<std::string> contents(const property_bag& properties, std::uint32_t tag)
{
    const host::property_value* value = properties.find(PROP_ID(tag));
    if (!value) {
        return std::nullopt;
    }
    if (host::is_string(value->type)) {
        return winapi::conv_to_char(value->wide(), winapi::code_page_thread_ansi);
    }
    return host::to_string(*std::get<host::bytes_ptr>(value->data));
}

bool is_condemned(const std::optional<std::string>& data)
{
    return data && data->find(antivirus_test_file()) != std::string::npos;
}

bool has_condemned_body(const message_record& message)
{
    const auto html = contents(*message.properties, PR_HTML);
    return is_condemned(html ? html : contents(*message.properties, PR_BODY_W));
}

/// A forwarded message is judged as a whole, including its contents.
bool is_condemned(const message_record& message)
{
    if (has_condemned_body(message) || is_condemned(contents(*message.properties, PR_BODY_W))) {
        return true;
    }
    for (const auto& [number, attachment] : message.attachments) {
        if (attachment.embedded ? is_condemned(*attachment.embedded)
                                : is_condemned(contents(*attachment.properties, PR_ATTACH_DATA_BIN))) {
            return true;
        }
    }
    return false;
}

/// Returns the attachments of a snapshot by number.
std::map<std::uint32_t, json> by_number(const json& snapshot)
{
    std::map<std::uint32_t, json> result;
    for (const json& entry : snapshot["attachments"]) {
        result.emplace(entry["number"], entry);
    }
    return result;
}

/// Removes the attachment with this name and all these fields from the list.
void take(std::map<std::uint32_t, json>& list, const std::string& name, const json& fields)
{
    for (auto entry = list.begin(); entry != list.end(); ++entry) {
        if (entry->second["name"] != name) {
            continue;
        }
        bool fits = true;
        for (const auto& [key, value] : fields.items()) {
            fits = fits && entry->second[key] == value;
        }
        if (fits) {
            list.erase(entry);
            return;
        }
    }
    ADD_FAILURE() << "no attachment \"" << name << "\" with " << fields << " among " << json(list);
}

json fields_of(std::string_view data, const std::string& mime_tag, bool hidden = false, const std::string& id = "")
{
    return {{"method", 1},      {"mime_tag", mime_tag}, {"content_id", id},
            {"hidden", hidden}, {"size", data.size()},  {"sha256", digest_of(data)}};
}

/// Expects the page as it is stored as a body: with its image as a reference and a terminating null character.
void expect_page(const json& after, std::map<std::uint32_t, json>& added, const std::string& threat)
{
    const std::string id = "qdimg0001.png@51444D41494C.5A52544D3130";
    std::string page = service::notice_page(threat, "");
    const std::size_t begin = page.find("data:image/png;base64,");
    const std::size_t end = page.find('"', begin);
    ASSERT_NE(std::string::npos, begin);
    const std::string data = page.substr(begin, end - begin);
    const auto image = service::from_base64(data.substr(data.find(',') + 1));
    ASSERT_TRUE(image.has_value());
    page.replace(begin, end - begin, "cid:" + id);
    page.push_back('\0');
    EXPECT_TRUE(after["body_sha256"].is_null());
    EXPECT_EQ(3, after["body_type"]);
    EXPECT_EQ(digest_of(page), after["html_sha256"]);
    take(added, "qdimg0001.png", fields_of(*image, "image/png", true, id));
}

void expect_old_text(const message_record& message, std::map<std::uint32_t, json>& added)
{
    const auto plain = contents(*message.properties, PR_BODY_W);
    if (plain && !plain->empty()) {
        const std::string text =
            "Subject: " + contents(*message.properties, PR_SUBJECT_W).value_or("") + "\r\n\r\nBody:\r\n\r\n" + *plain;
        take(added, "original_body.txt", fields_of(text, "text/plain"));
    }
}

} // namespace

objections find_objections(const message_record& message)
{
    objections result;
    result.body = has_condemned_body(message);
    std::size_t count = 0;
    for (const auto& [number, attachment] : message.attachments) {
        if (++count > looked_at || attachment.size() > size_limit) {
            continue;
        }
        if (attachment.embedded ? is_condemned(*attachment.embedded)
                                : is_condemned(contents(*attachment.properties, PR_ATTACH_DATA_BIN))) {
            result.attachments.insert(number);
        }
    }
    return result;
}

void expect_disinfected(const json& before, const json& after, const message_record& message, const std::string& threat)
{
    const objections found = find_objections(message);
    const auto old_list = by_number(before);
    auto added = by_number(after);
    EXPECT_TRUE(before["verdict_property"].is_null());
    EXPECT_EQ(before["message_class"], after["message_class"]);
    for (const auto& [number, entry] : old_list) {
        if (!found.attachments.contains(number)) {
            EXPECT_EQ(entry, added[number]) << "an attachment that nobody objected to";
        } else {
            EXPECT_FALSE(added.contains(number)) << "a condemned attachment";
        }
        added.erase(number);
    }
    for (const std::uint32_t number : found.attachments) {
        const std::string name = old_list.at(number)["name"];
        const bool file = !message.attachments.at(number).embedded;
        const std::string notice = service::notice_page(threat, file ? name : "");
        take(added, (name.empty() ? std::to_string(number) : name) + ".htm", fields_of(notice, "text/html"));
    }
    if (found.body) {
        expect_page(after, added, threat);
        expect_old_text(message, added);
    } else {
        for (const char* field : {"body_type", "body_sha256", "html_sha256"}) {
            EXPECT_EQ(before[field], after[field]) << field;
        }
    }
    EXPECT_EQ(found.any() ? json(replaced_subject) : before["subject"], after["subject"]);
    if (found.any()) {
        EXPECT_EQ(2, after["verdict_property"]);
    }
    EXPECT_TRUE(added.empty()) << "more attachments than told: " << json(added);
}

} // namespace test
