#include "mail/inputs/message_finder.h"

#include "mail/files/path_text.h"
#include "mail/inputs/mbox_splitter.h"
#include "tool/system/conversions.h"

#include <system_error>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t envelope_size = 5;

bool ends_like_mbox(const fs::path& file)
{
    const std::string extension = text_of_path(file.extension());
    return winapi::compare_no_case(extension, ".mbox") == 0 || winapi::compare_no_case(extension, ".mbx") == 0;
}

bytes_ptr read_rest(buffered_stream& stream)
{
    scratch text;
    for (std::string_view piece = stream.take_piece(); !piece.empty(); piece = stream.take_piece()) {
        text.append(piece);
    }
    return text.freeze();
}

} // namespace

/// A file whose messages are being returned.
class message_finder::opened_file
{
public:
    opened_file(fs::path file, std::unique_ptr<byte_stream> stream)
        : file_(std::move(file))
        , stream_(std::move(stream))
    {}

    std::optional<message_place> next()
    {
        message_place place;
        place.file = file_;
        const bool first = !begun_;
        begun_ = true;
        if (first && !is_mbox()) {
            place.contents = stream_.is_regular() ? nullptr : read_rest(stream_);
            return place;
        }
        if (first) {
            mbox_.emplace(stream_, !stream_.is_regular());
        }
        place.contents = mbox_ ? mbox_->next() : nullptr;
        if (first && !mbox_->has_more() && !(ends_like_mbox(file_) && place.contents)) {
            place.contents = mbox_->first_as_stored(); // null for an ordinary file
            return place;
        }
        place.number = ++count_;
        return place.contents ? std::optional(place) : std::nullopt;
    }
    [[nodiscard]] const fs::path& file() const noexcept { return file_; }
    [[nodiscard]] std::uint64_t position() const
    {
        if (mbox_ || !stream_.is_regular()) {
            return stream_.taken();
        }
        std::error_code problem;
        const std::uintmax_t size = begun_ ? fs::file_size(file_, problem) : 0;
        return problem ? 0 : size;
    }

private:
    /// The name of a stream says nothing.
    bool is_mbox()
    {
        return is_envelope(stream_.peek(envelope_size)) || (stream_.is_regular() && ends_like_mbox(file_));
    }

    fs::path file_;
    buffered_stream stream_;
    std::optional<mbox_splitter> mbox_;
    std::size_t count_ = 0;
    bool begun_ = false;
};

message_finder::message_finder(std::vector<std::string> paths, finding_options options)
    : files_(std::move(paths), options.recursive, wanted_files::mail)
    , limits_(std::move(options.limits))
{}

message_finder::~message_finder() = default;

std::uint64_t message_finder::position() const
{
    return finished_ + (file_ ? file_->position() : 0);
}

std::optional<message_place> message_finder::next_of_file()
{
    std::optional<message_place> place;
    try {
        place = file_->next();
    } catch (const reading_given_up&) {
        throw;
    } catch (const std::runtime_error& failure) {
        const std::string name = text_of_path(file_->file());
        finished_ = position();
        file_.reset();
        throw unreadable_input(name, failure.what());
    }
    if (!place) {
        finished_ = position();
        file_.reset();
    }
    return place;
}

std::optional<message_place> message_finder::next()
{
    for (;;) {
        if (!file_) {
            const auto file = files_.next();
            if (!file) {
                return std::nullopt;
            }
            try {
                file_ = std::make_unique<opened_file>(*file, open_stream(*file, limits_));
            } catch (const std::runtime_error& failure) {
                throw unreadable_input(text_of_path(*file), failure.what());
            }
        }
        if (auto place = next_of_file()) {
            return place;
        }
    }
}

} // namespace host
