#include "mail/inputs/input_files.h"

#include "mail/files/path_text.h"

#include <system_error>

namespace host {

namespace fs = std::filesystem;

input_files::input_files(std::vector<std::string> paths, bool recursive, wanted_files wanted)
    : paths_(std::move(paths))
    , recursive_(recursive)
    , wanted_(wanted)
{}

std::optional<fs::path> input_files::begin(const std::string& path)
{
    fs::path file = path_of(path);
    if (path == standard_input_name) {
        return file;
    }
    std::error_code problem;
    const fs::file_status status = fs::status(file, problem);
    if (!fs::exists(status)) {
        throw unreadable_input(path, problem && problem != std::errc::no_such_file_or_directory
                                         ? problem.message()
                                         : "there is no such file or folder");
    }
    if (!fs::is_directory(status)) {
        return file;
    }
    folder_ = std::make_unique<folder_walk>(file, recursive_, wanted_);
    folder_is_empty_ = true;
    return std::nullopt;
}

std::optional<fs::path> input_files::next_of_folder()
{
    std::optional<fs::path> file;
    try {
        file = folder_->next();
    } catch (const std::runtime_error& failure) {
        folder_is_empty_ = false; // unknown
        throw unreadable_input(text_of_path(folder_->place()), failure.what());
    }
    if (file) {
        folder_is_empty_ = false;
        return file;
    }
    const auto ended = std::move(folder_);
    if (folder_is_empty_) {
        const bool mail = wanted_ == wanted_files::mail;
        throw unreadable_input(text_of_path(ended->place()),
                               ended->left_out_folders()
                                   ? std::string("the folder holds no ") + (mail ? "mail" : "file") +
                                         " itself; --recursive reads the folders in it too"
                               : mail ? "the folder holds no .eml, .msg or .mbox file"
                                      : "the folder holds no file");
    }
    return std::nullopt;
}

std::optional<fs::path> input_files::next()
{
    while (folder_ || begun_ < paths_.size()) {
        if (auto file = folder_ ? next_of_folder() : begin(paths_[begun_++])) {
            return file;
        }
    }
    return std::nullopt;
}

bytes_ptr bytes_of_input(const fs::path& file, const stream_limits& limits)
{
    const auto stream = open_stream(file, limits);
    if (stream->is_regular()) {
        return bytes_of_file(file);
    }
    constexpr std::size_t block_size = 1U << 16U;
    std::string block(block_size, '\0');
    scratch contents;
    for (std::size_t got = stream->read(block.data(), block.size()); got != 0;
         got = stream->read(block.data(), block.size())) {
        contents.append(std::string_view(block).substr(0, got));
    }
    return contents.freeze();
}

} // namespace host
