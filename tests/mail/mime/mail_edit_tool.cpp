// mail_edit IN OUT: reads every message of a folder and saves it to OUT unchanged (NAME.same.eml), without each of its
// attachments (NAME.taken-NUMBER.eml), with a notice in place of each (NAME.notice-NUMBER.eml), and with a page in
// place of its bodies (NAME.page.eml). Verifies that each file yields the same message when it is read. Prints one JSON
// object per line: the file, its source, and how many attachments the message has.

#include "desk/run/snapshot.h"
#include "mail/mime/reading/message_reader.h"
#include "mail/mime/saving/message_saver.h"
#include "tests/mail/inputs/found_messages.h"
#include "tool/system/conversions.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace {

using namespace host;
namespace fs = std::filesystem;

void set_text(property_bag& properties, std::uint32_t tag, std::wstring_view text)
{
    properties.set(tag, property_value::of_text(text));
}

attachment_record file(std::wstring_view name, std::wstring_view type, std::string contents)
{
    attachment_record result;
    result.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
    set_text(*result.properties, PR_ATTACH_LONG_FILENAME_W, name);
    set_text(*result.properties, PR_ATTACH_MIME_TAG_W, type);
    result.properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of(std::move(contents))));
    return result;
}

std::uint32_t free_number(const message_record& message)
{
    return message.attachments.empty() ? 0 : message.attachments.rbegin()->first + 1;
}

std::wstring notice_name(std::uint32_t number, const attachment_record& attachment)
{
    const property_value* name = attachment.properties->find(PROP_ID(PR_ATTACH_LONG_FILENAME_W));
    return (name ? name->wide() : std::to_wstring(number)) + L".htm";
}

void put_page(message_record& message)
{
    property_bag& properties = *message.properties;
    properties.erase(PROP_ID(PR_BODY_W));
    properties.set(PR_HTML, property_value::of_binary(bytes_of("<p>Condemned.</p><img src=\"cid:a@b\">\r\n")));
    properties.set(PR_NATIVE_BODY_INFO, property_value::of_long(3));
    properties.set(PR_INTERNET_CPID, property_value::of_long(65001));
    set_text(properties, PR_SUBJECT_W, L"Condem\u00F1ed");
    attachment_record image = file(L"image.png", L"image/png", std::string("\x89PNG\0\r\n", 7));
    set_text(*image.properties, PR_ATTACH_CONTENT_ID_W, L"a@b");
    image.properties->set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(true));
    message.attachments.emplace(free_number(message), std::move(image));
    message.attachments.emplace(free_number(message), file(L"original_body.txt", L"text/plain", "The text."));
}

std::string state_text(const message_record& message)
{
    digest_cache digests;
    return to_json(take_snapshot(message), digests).dump();
}

class editing
{
public:
    explicit editing(fs::path out)
        : out_(std::move(out))
    {}

    void edit(const message_place& place)
    {
        const message_record message =
            read_message(open_message(place), place.name(), std::make_shared<store_context>());
        save(place, message, "same", message);
        for (const auto& [number, attachment] : message.attachments) {
            message_record taken = message.copy();
            taken.attachments.erase(number);
            save(place, message, "taken-" + std::to_string(number), taken);
            taken.attachments.emplace(free_number(message), file(notice_name(number, attachment), L"text/html", "<p>"));
            save(place, message, "notice-" + std::to_string(number), taken);
        }
        message_record page = message.copy();
        put_page(page);
        save(place, message, "page", page);
    }

private:
    void save(const message_place& place, const message_record& before, const std::string& kind,
              const message_record& message)
    {
        const std::string source = fs::path(place.name()).filename().string();
        const fs::path target = out_ / (source + "." + kind + ".eml");
        write_eml(message, target);
        const message_record again =
            read_message(bytes_of_file(target), "saved", message.store, written_by::this_program);
        if (state_text(again) != state_text(message)) {
            throw std::runtime_error(target.string() + ": another message was read");
        }
        nlohmann::ordered_json line;
        line["file"] = target.filename().string();
        line["source"] = place.name();
        line["kind"] = kind;
        line["attachments"] = before.attachments.size();
        std::cout << line.dump() << '\n';
    }

    fs::path out_;
};

} // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::cerr << "usage: mail_edit IN OUT\n";
        return 2;
    }
    try {
        editing tool(arguments[2]);
        for (const message_place& place : test::found_messages(arguments[1])) {
            tool.edit(place);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "mail_edit: " << failure.what() << '\n';
        return 1;
    }
}
