// Damaged mail: the writer must be able to write whatever the reader produces, and the reader to read it again.

#include "tests/mail/inputs/found_messages.h"
#include "tests/mail/mime/message_edits.h"
#include "tests/support/temporary_folder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

namespace host::test {
namespace {

namespace fs = std::filesystem;

std::optional<message_record> try_read(const std::string& text)
{
    try {
        return read_message(bytes_of(text), "damaged", std::make_shared<store_context>());
    } catch (const unreadable_message&) {
        return std::nullopt;
    }
}

/// Returns true if the text is a message; checks then that it can be written and read again, as it is and changed.
bool round_trip(const std::string& text, std::mt19937& random)
{
    const auto message = try_read(text);
    if (!message) {
        return false;
    }
    expect_same_when_saved(*message, text);
    message_record changed = message->copy();
    change_at_random(changed, random);
    expect_same_when_saved(changed, text);
    const auto sheet = try_read(document(*message));
    EXPECT_TRUE(sheet.has_value()) << text;
    return true;
}

class damaged_mail : public testing::Test
{
protected:
    static std::vector<std::string> samples()
    {
        const temporary_folder folder;
        const std::string command =
            "python3 '" SAMPLES_FOLDER "/make_samples.py' '" + folder.path().string() + "' >/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c,concurrency-mt-unsafe): the project's script
        std::vector<std::string> found;
        for (const message_place& place : found_messages(folder.path())) {
            std::string text = to_string(*open_message(place));
            if (text.size() < 20000) {
                found.push_back(std::move(text));
            }
        }
        return found;
    }

    std::mt19937 random{2026}; // NOLINT(cert-msc32-c,cert-msc51-cpp): the same damage every time
};

TEST_F(damaged_mail, with_changed_lost_and_doubled_bytes_is_written_and_read_again)
{
    std::size_t readable = 0;
    for (const std::string& sample : samples()) {
        for (int round = 0; round < 60; ++round) {
            std::string text = sample;
            for (std::size_t i = 0; i <= random() % 8; ++i) {
                const std::size_t at = random() % text.size();
                switch (random() % 4) {
                case 0:
                    text[at] = static_cast<char>(random());
                    break;
                case 1:
                    text.erase(at, random() % 40);
                    break;
                case 2:
                    text.insert(at, text.substr(random() % text.size(), random() % 40));
                    break;
                default:
                    text.insert(at, 1, "\r\n:;=\"-\0"[random() % 8]);
                    break;
                }
            }
            readable += round_trip(text, random) ? 1 : 0;
        }
    }
    EXPECT_GT(readable, 1000U);
}

TEST_F(damaged_mail, that_ends_anywhere_is_written_and_read_again)
{
    std::size_t readable = 0;
    for (const std::string& sample : samples()) {
        for (int cut = 1; cut < 40; ++cut) {
            readable +=
                round_trip(sample.substr(0, sample.size() * static_cast<std::size_t>(cut) / 40), random) ? 1 : 0;
        }
    }
    EXPECT_GT(readable, 500U);
}

TEST_F(damaged_mail, from_the_seeds_of_other_readers_is_written_and_read_again)
{
    std::size_t readable = 0;
    for (const auto& entry : fs::recursive_directory_iterator(SAMPLES_FOLDER "/../fuzz/seeds")) {
        if (entry.is_regular_file()) {
            const std::string seed = to_string(*bytes_of_file(entry.path()));
            readable += round_trip(seed, random) ? 1 : 0;
            EXPECT_TRUE(round_trip("Subject: seed\r\nX-Seed: " + seed, random)) << entry.path();
            EXPECT_TRUE(round_trip("Subject: seed\r\n\r\n" + seed, random)) << entry.path();
            EXPECT_TRUE(round_trip("Subject: seed\r\nContent-Type: multipart/mixed; boundary=x\r\n\r\n--x\r\n" + seed +
                                       "\r\n--x\r\nContent-Type: message/rfc822\r\n\r\n" + seed,
                                   random))
                << entry.path();
        }
    }
    EXPECT_GT(readable, 0U);
}

} // namespace
} // namespace host::test
