#pragma once

#include "desk/run/message_copies.h"
#include "mail/files/mailbox.h"
#include "mail/files/path_text.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace host {

/// The name of a message's copy: that of its file with the extension of the form; a message of an mbox has its number
/// behind the name, "-3". Longer names than a file system takes are cut.
std::string copy_name(const message_place& place, mail_format format);

/// Copies of messages in a folder. No file that is there already is touched: a name that is taken, by an earlier run or
/// by a message of the same name, gets a number, "report-2.eml".
class saved_messages final : public message_copies
{
public:
    /// Makes the folder, and those above it, where they are missing. `format` empty: each message keeps its form.
    /// Raises std::runtime_error with the reason.
    saved_messages(std::filesystem::path folder, std::optional<mail_format> format);

    std::unique_ptr<message_copy> copy_of(const message_place& place) override;
    [[nodiscard]] std::string folder() const override { return text_of_path(folder_); }

private:
    std::filesystem::path folder_;
    std::optional<mail_format> format_;
};

/// Copies of messages in a folder that only this user may look into, and that goes with the object.
class passing_messages final : public message_copies
{
public:
    /// Raises std::runtime_error with the reason.
    explicit passing_messages(std::optional<mail_format> format);
    passing_messages(const passing_messages&) = delete;
    passing_messages& operator=(const passing_messages&) = delete;
    ~passing_messages() override;

    std::unique_ptr<message_copy> copy_of(const message_place& place) override { return inside_->copy_of(place); }
    [[nodiscard]] std::string folder() const override { return {}; }

private:
    std::filesystem::path folder_;
    std::unique_ptr<saved_messages> inside_;
};

} // namespace host
