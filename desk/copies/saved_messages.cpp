#include "desk/copies/saved_messages.h"

#include "desk/copies/mail_files.h"
#include "mail/files/new_file.h"
#include "mail/files/path_text.h"
#include "mail/inputs/byte_stream.h"
#include "tool/system/conversions.h"
#include "tool/system/utf.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longest_name = 200; ///< bytes; leaves room for numbers and extension in the usual 255

/// Truncates the text at a boundary between two UTF-8 characters.
std::string shortened(std::string text)
{
    text.resize(winapi::utf::whole_characters(text, longest_name));
    return text;
}

/// Returns the name without its extension if that is an extension of mail files.
std::string stem_of(const message_place& place)
{
    if (place.file == standard_input_name) {
        return "standard-input";
    }
    const fs::path name = place.file.filename();
    for (const char* known : {".eml", ".msg", ".mbox", ".mbx"}) {
        if (winapi::compare_no_case(text_of_path(name.extension()), known) == 0) {
            return text_of_path(name.stem());
        }
    }
    return text_of_path(name);
}

/// A copy whose name was free. An empty file reserves the name until the copy is written.
class reserved_copy final : public message_copy
{
public:
    reserved_copy(fs::path file, mail_format format)
        : format_(format)
    {
        place_.file = std::move(file);
    }
    reserved_copy(const reserved_copy&) = delete;
    reserved_copy& operator=(const reserved_copy&) = delete;
    ~reserved_copy() override
    {
        if (!written_) {
            std::error_code ignored;
            fs::remove(place_.file, ignored);
        }
    }

    void write(const message_record& message) override
    {
        write_mail(message, format_, place_.file);
        written_ = true;
    }
    [[nodiscard]] message_record read(const std::shared_ptr<store_context>& store) const override
    {
        return read_mail(place_, store, written_by::this_program);
    }

private:
    message_place place_;
    mail_format format_;
    bool written_ = false;
};

} // namespace

std::string copy_name(const message_place& place, mail_format format)
{
    std::string name = shortened(stem_of(place));
    if (place.number != 0) {
        name += '-' + std::to_string(place.number);
    }
    return name + extension_of(format);
}

saved_messages::saved_messages(fs::path folder, std::optional<mail_format> format)
    : folder_(std::move(folder))
    , format_(format)
{
    std::error_code problem;
    fs::create_directories(folder_, problem);
    if (!problem && !fs::is_directory(folder_)) {
        problem = std::make_error_code(std::errc::not_a_directory);
    }
    if (problem) {
        throw std::runtime_error(problem.message());
    }
}

std::unique_ptr<message_copy> saved_messages::copy_of(const message_place& place)
{
    const mail_format format = format_.value_or(format_of(place));
    const fs::path name = path_of(copy_name(place, format));
    fs::path file = folder_ / name;
    for (std::size_t number = 2; !make_new_file(file); ++number) {
        fs::path other = name.stem();
        other += '-' + std::to_string(number) + extension_of(format);
        file = folder_ / other;
    }
    return std::make_unique<reserved_copy>(std::move(file), format);
}

passing_messages::passing_messages(std::optional<mail_format> format)
    : folder_(make_private_folder())
{
    inside_ = std::make_unique<saved_messages>(folder_, format);
}

passing_messages::~passing_messages()
{
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

} // namespace host
