// msg_copy IN OUT: writes every message of a folder to OUT as an Outlook message file, NAME.msg, and prints one JSON
// object per line: the displayed contents of the message before, and those of the file when it is read again.

#include "desk/run/snapshot.h"
#include "mail/mime/reading/message_reader.h"
#include "mail/msg/msg_file.h"
#include "tests/mail/inputs/found_messages.h"
#include "tool/system/conversions.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <filesystem>
#include <iostream>

namespace {

std::string text_of(const host::bytes_ptr& data)
{
    return data ? host::to_string(*data) : std::string();
}

nlohmann::ordered_json shown_by(const host::message_record& message)
{
    host::digest_cache digests;
    const host::message_snapshot snapshot = host::take_snapshot(message);
    nlohmann::ordered_json result = host::to_json(snapshot, digests);
    result["body"] = text_of(snapshot.body);
    return result;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::cerr << "usage: msg_copy IN OUT\n";
        return 2;
    }
    try {
        const std::filesystem::path out = arguments[2];
        for (const host::message_place& place : host::test::found_messages(arguments[1])) {
            const auto message =
                host::read_message(host::open_message(place), place.name(), std::make_shared<host::store_context>());
            const std::string name = std::filesystem::path(place.name()).filename().string() + ".msg";
            host::write_msg(message, out / name);
            nlohmann::ordered_json line;
            line["file"] = name;
            line["before"] = shown_by(message);
            line["after"] = shown_by(host::read_msg(out / name, std::make_shared<host::store_context>()));
            std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
        }
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "msg_copy: " << failure.what() << '\n';
        return 1;
    }
}
