#pragma once

#include "desk/copies/private_folder.h"
#include "desk/run/message_copies.h"
#include "mail/files/mailbox.h"
#include "mail/files/path_text.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace host {

/// Returns the name of a message's copy: the name of its file with the extension of the form. For a message of an mbox
/// its number is appended, "-3". Names too long for a file system are truncated.
std::string copy_name(const message_place& place, mail_format format);

/// Copies of messages in a folder. Existing files are never modified: if a name is taken, by an earlier run or by a
/// message of the same name, a number is appended, "report-2.eml".
class saved_messages final : public message_copies
{
public:
    /// Creates the folder and its parents if they do not exist. If `format` is empty, each message keeps its form.
    /// Throws std::runtime_error with the reason.
    saved_messages(std::filesystem::path folder, std::optional<mail_format> format);

    std::unique_ptr<message_copy> copy_of(const message_place& place) override;
    [[nodiscard]] std::string folder() const override { return text_of_path(folder_); }

private:
    std::filesystem::path folder_;
    std::optional<mail_format> format_;
};

/// Copies of messages in a folder that only this user can access. The folder is deleted with the object.
class passing_messages final : public message_copies
{
public:
    /// Throws std::runtime_error with the reason.
    explicit passing_messages(std::optional<mail_format> format);

    std::unique_ptr<message_copy> copy_of(const message_place& place) override { return inside_.copy_of(place); }
    [[nodiscard]] std::string folder() const override { return {}; }

private:
    private_folder folder_;
    saved_messages inside_;
};

} // namespace host
