// mail_copy IN OUT: reads every message of a folder and writes it to OUT as a file of this program that does not use
// the original document, NAME.eml, and as the document that the converter session creates, NAME.mime. Prints one JSON
// object per line with the displayed contents of the message.

#include "desk/run/snapshot.h"
#include "mail/mime/reading/message_reader.h"
#include "mail/mime/saving/message_saver.h"
#include "mail/mime/writing/message_writer.h"
#include "tests/mail/inputs/found_messages.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>

int main(int count, char** arguments)
{
    if (count != 3) {
        std::cerr << "usage: mail_copy IN OUT\n";
        return 2;
    }
    try {
        const std::filesystem::path out = arguments[2];
        for (const host::message_place& place : host::test::found_messages(arguments[1])) {
            host::message_record message =
                host::read_message(host::open_message(place), place.name(), std::make_shared<host::store_context>());
            const std::string name = std::filesystem::path(place.name()).filename().string();
            message.properties->origin(nullptr);
            host::write_eml(message, out / (name + ".eml"));
            std::ofstream sheet(out / (name + ".mime"), std::ios::binary);
            host::write_mime(message, true, [&sheet](std::string_view piece) {
                sheet.write(piece.data(), static_cast<std::streamsize>(piece.size()));
            });
            host::digest_cache digests;
            nlohmann::ordered_json line = host::to_json(host::take_snapshot(message), digests);
            line["file"] = name;
            std::cout << line.dump() << '\n';
        }
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "mail_copy: " << failure.what() << '\n';
        return 1;
    }
}
