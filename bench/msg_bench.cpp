// Outlook message files: written and read, beside plain files of the same bytes, beside messages with fewer
// attachments, and beside msgconvert.

#include "bench/contest.h"
#include "bench/once.h"
#include "mail/files/atomic_file.h"
#include "mail/msg/msg_file.h"
#include "store/tags.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace host;

constexpr std::size_t block_size = 65536;

std::string random_bytes(std::size_t size)
{
    std::mt19937 random(1);
    std::string bytes(size, '\0');
    for (char& letter : bytes) {
        letter = static_cast<char>(random());
    }
    return bytes;
}

message_record message_with(std::uint32_t attachments, std::size_t size)
{
    message_record record;
    record.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
    record.properties->set(PR_SUBJECT_W, property_value::of_text(L"Figures"));
    record.properties->set(0x1000001F, property_value::of_text(std::wstring(4096, L'x')));
    const bytes_ptr data = bytes_of(random_bytes(size));
    for (std::uint32_t number = 0; number < attachments; ++number) {
        attachment_record attachment;
        attachment.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
        attachment.properties->set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(L"figures.bin"));
        attachment.properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(data));
        record.attachments.emplace(number, std::move(attachment));
    }
    return record;
}

const bytes_ptr& data_of(const attachment_record& attachment)
{
    return std::get<bytes_ptr>(attachment.properties->find(PROP_ID(PR_ATTACH_DATA_BIN))->data);
}

bool same_contents(const message_record& left, const message_record& right)
{
    return std::equal(
        left.attachments.begin(), left.attachments.end(), right.attachments.begin(), right.attachments.end(),
        [](const auto& one, const auto& other) { return same_bytes(data_of(one.second), data_of(other.second)); });
}

/// Reads the contents of every attachment, and returns their size.
std::uint64_t read_contents(const message_record& message)
{
    std::array<char, block_size> block{};
    std::uint64_t sum = 0;
    for (const auto& [number, attachment] : message.attachments) {
        const bytes& data = *data_of(attachment);
        for (std::uint64_t offset = 0; offset < data.size(); offset += block.size()) {
            sum += data.read(offset, block.data(), block.size());
        }
    }
    return sum;
}

/// A folder that is removed with the object.
class temporary_folder
{
public:
    temporary_folder()
        : path_(std::filesystem::temp_directory_path() / ("msg_bench_" + std::to_string(::getpid())))
    {
        std::filesystem::create_directories(path_);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;
    ~temporary_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    [[nodiscard]] std::filesystem::path file(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// A message with attachments of one size, in memory and as a file.
class message_file
{
public:
    message_file(const temporary_folder& folder, std::uint32_t attachments, std::size_t size)
        : name_(std::to_string(attachments) + '_' + std::to_string(size))
        , file_(folder.file(name_ + ".msg"))
        , plain_(folder.file(name_ + ".bin"))
        , converted_(folder.file(name_ + ".eml"))
        , message_(message_with(attachments, size))
        , contents_(std::uint64_t{attachments} * size)
    {
        write(1);
        bench::require(same_contents(read_msg(file_, std::make_shared<store_context>()), message_),
                       "other attachments were written");
        bytes_ = random_bytes(std::filesystem::file_size(file_));
        write_plain(1);
    }

    void write(std::uint64_t count) const
    {
        for (; count > 0; --count) {
            write_msg(message_, file_);
        }
    }
    /// Reads all properties, and the contents of every attachment.
    void read(std::uint64_t count) const
    {
        for (; count > 0; --count) {
            bench::require(read_contents(read_msg(file_, std::make_shared<store_context>())) == contents_,
                           "other attachments were read");
        }
    }

    /// Writes as many bytes to a file that replaces another one, as a message does.
    void write_plain(std::uint64_t count) const
    {
        for (; count > 0; --count) {
            write_atomically(plain_, [this](const std::filesystem::path& temporary) {
                std::ofstream target(temporary, std::ios::binary);
                for (std::size_t done = 0; done < bytes_.size(); done += block_size) {
                    target.write(bytes_.data() + done,
                                 static_cast<std::streamsize>(std::min(block_size, bytes_.size() - done)));
                }
                target.close();
                bench::require(target.good(), "the plain file was not written");
            });
        }
    }
    void read_plain(std::uint64_t count) const
    {
        for (; count > 0; --count) {
            const bytes_ptr data = bytes_of_file(plain_);
            std::array<char, block_size> block{};
            std::uint64_t sum = 0;
            for (std::uint64_t offset = 0; offset < data->size(); offset += block.size()) {
                sum += data->read(offset, block.data(), block.size());
            }
            bench::require(sum == bytes_.size(), "the plain file was not read");
        }
    }

    /// Converts the file to MIME by msgconvert, which is a process of its own.
    void convert(std::uint64_t count) const
    {
        const std::string command =
            "msgconvert --outfile '" + converted_.string() + "' '" + file_.string() + "' >/dev/null 2>&1";
        for (; count > 0; --count) {
            bench::require(std::system(command.c_str()) == 0, // NOLINT(cert-env33-c): the names are ours
                           "msgconvert cannot be run or failed");
            bench::require(std::filesystem::file_size(converted_) >= contents_ / 3 * 4, // in base64
                           "not all attachments were converted");
        }
    }

private:
    std::string name_;
    std::filesystem::path file_;
    std::filesystem::path plain_;
    std::filesystem::path converted_;
    message_record message_;
    std::uint64_t contents_; ///< bytes of all attachments
    std::string bytes_;      ///< of the plain file
};

using operation = void (message_file::*)(std::uint64_t) const;

bench::contender doing(std::string name, const message_file& file, operation what, std::uint64_t times = 1)
{
    return {std::move(name), [&file, what, times](std::uint64_t count) { (file.*what)(count * times); }, {}};
}

bench::rival beside(bench::contender other, double goal = 0)
{
    return {std::move(other), bench::ratio::cost, goal};
}

/// The time for each attachment must not grow with their number.
void compare_numbers(bench::contests& all, const temporary_folder& folder)
{
    constexpr std::uint32_t times = 8;
    constexpr double nearly_linear = 1.5;
    const auto few = bench::usual_or_once<std::uint32_t>(1000, 10);
    const std::string work = std::to_string(few * times) + " attachments of 100 bytes: ";
    if (!all.is_wanted(work + "write") && !all.is_wanted(work + "read")) {
        return;
    }
    const message_file small(folder, few, 100);
    const message_file large(folder, few * times, 100);
    const std::string part = std::to_string(times) + " messages with " + std::to_string(few);
    all.hold({work + "write",
              doing("one message", large, &message_file::write),
              {beside(doing(part, small, &message_file::write, times), nearly_linear),
               beside(doing("a plain file of the same size", large, &message_file::write_plain))}});
    all.hold({work + "read",
              doing("one message", large, &message_file::read),
              {beside(doing(part, small, &message_file::read, times), nearly_linear),
               beside(doing("a plain file of the same size", large, &message_file::read_plain))}});
}

void compare_sizes(bench::contests& all, const temporary_folder& folder, std::uint32_t attachments, std::size_t size,
                   const std::string& shape, bool by_msgconvert)
{
    if (!all.is_wanted(shape + ": write") && !all.is_wanted(shape + ": read")) {
        return;
    }
    const message_file file(folder, attachments, bench::usual_or_once(size, std::min<std::size_t>(size, 100000)));
    all.hold({shape + ": write",
              doing("a message", file, &message_file::write),
              {beside(doing("a plain file of the same size", file, &message_file::write_plain))}});
    std::vector<bench::rival> rivals{beside(doing("a plain file of the same size", file, &message_file::read_plain))};
    if (by_msgconvert) {
        rivals.push_back({doing("msgconvert, with its start", file, &message_file::convert), bench::ratio::speed, 0});
    }
    all.hold({shape + ": read", doing("a message", file, &message_file::read), rivals});
}

} // namespace

int main(int count, char** arguments)
{
    return bench::run_contests(count, arguments, [](bench::contests& all) {
        const temporary_folder folder;
        compare_numbers(all, folder);
        compare_sizes(all, folder, 1, 4096, "an attachment of 4 KiB", true);
        compare_sizes(all, folder, 20, 100000, "20 attachments of 100 KB", true);
        compare_sizes(all, folder, 4, std::size_t{16} << 20U, "4 attachments of 16 MiB", false);
    });
}
