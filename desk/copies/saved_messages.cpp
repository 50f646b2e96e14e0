#include "desk/copies/saved_messages.h"

#include "desk/copies/mail_files.h"
#include "mail/files/new_file.h"
#include "mail/files/path_text.h"
#include "mail/files/unfinished_path.h"
#include "mail/inputs/byte_stream.h"
#include "tool/system/conversions.h"
#include "tool/system/utf.h"

#include <random>
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

/// A copy that takes a free name when it is written for the first time, as a whole: before that, no file has the name.
class numbered_copy final : public message_copy
{
public:
    numbered_copy(fs::path wanted, mail_format format)
        : wanted_(std::move(wanted))
        , format_(format)
    {}

    void write(const message_record& message) override
    {
        if (place_.file.empty()) {
            write_new(message);
        } else {
            write_mail(message, format_, place_.file);
        }
    }
    [[nodiscard]] message_record read(const std::shared_ptr<store_context>& store) const override
    {
        return read_mail(place_, store, written_by::this_program);
    }

private:
    void write_new(const message_record& message)
    {
        const unfinished_path written(wanted_.parent_path() / (".postwarden-" + std::to_string(std::random_device()()) +
                                                               ".new" + extension_of(format_)));
        try {
            write_mail(message, format_, written.path());
            fs::path file = wanted_;
            for (std::size_t number = 2; !rename_to_new(written.path(), file); ++number) {
                fs::path other = wanted_.stem();
                other += '-' + std::to_string(number) + extension_of(format_);
                file = wanted_.parent_path() / other;
            }
            place_.file = std::move(file);
        } catch (...) {
            std::error_code ignored;
            fs::remove(written.path(), ignored);
            throw;
        }
    }

    fs::path wanted_;
    mail_format format_;
    message_place place_; ///< without a file until the copy is written
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
    return std::make_unique<numbered_copy>(folder_ / path_of(copy_name(place, format)), format);
}

passing_messages::passing_messages(std::optional<mail_format> format)
    : inside_(folder_.path(), format)
{}

} // namespace host
