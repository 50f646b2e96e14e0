#include "mail/inputs/folder_names.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

template <typename Text>
bool consists_of_digits(const Text& name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](auto c) { return c >= '0' && c <= '9'; });
}

/// Compares numbers of any length.
template <typename Text>
int compare_numbers(const Text& left, const Text& right)
{
    const std::size_t left_zeros = std::min(left.find_first_not_of('0'), left.size());
    const std::size_t right_zeros = std::min(right.find_first_not_of('0'), right.size());
    const std::size_t left_digits = left.size() - left_zeros;
    const std::size_t right_digits = right.size() - right_zeros;
    if (left_digits != right_digits) {
        return left_digits < right_digits ? -1 : 1;
    }
    return left.compare(left_zeros, left_digits, right, right_zeros, right_digits);
}

} // namespace

bool is_number(const fs::path& name)
{
    return consists_of_digits(name.native());
}

folder_names::folder_names(fs::path folder, name_order order, filter wanted, std::size_t batch)
    : folder_(std::move(folder))
    , order_(order)
    , wanted_(std::move(wanted))
    , batch_(batch)
    , name_begin_((folder_ / "").native().size())
{}

bool folder_names::is_less(name_view left, name_view right) const
{
    if (order_ == name_order::by_number) {
        const bool left_number = consists_of_digits(left);
        if (left_number != consists_of_digits(right)) {
            return left_number;
        }
        if (const int difference = left_number ? compare_numbers(left, right) : 0; difference != 0) {
            return difference < 0;
        }
    }
    return left < right;
}

void folder_names::end_by(const std::error_code& problem)
{
    ended_ = true;
    names_.clear();
    throw std::runtime_error("the folder cannot be read: " + problem.message());
}

/// Reads the next name in the order of the file system.
void folder_names::read_on()
{
    std::error_code problem;
    if (begun_) {
        entry_.increment(problem);
    } else {
        entry_ = fs::directory_iterator(folder_, problem);
        begun_ = true;
    }
    while (!problem && entry_ != fs::directory_iterator() && !wanted_(*entry_)) {
        entry_.increment(problem);
    }
    if (problem) {
        end_by(problem);
    }
    ended_ = entry_ == fs::directory_iterator();
    if (!ended_) {
        names_.push_back(entry_->path().native().substr(name_begin_));
    }
}

/// Reads the lowest names above the last one that was returned. The heap has the highest of them in front.
void folder_names::read_batch()
{
    const auto less = [this](const auto& left, const auto& right) { return is_less(left, right); };
    std::error_code problem;
    fs::directory_iterator entry(folder_, problem);
    for (; !problem && entry != fs::directory_iterator(); entry.increment(problem)) {
        // Most entries of a large folder are skipped: their names are not copied.
        const name_view candidate = name_view(entry->path().native()).substr(name_begin_);
        const bool full = names_.size() == batch_;
        if ((last_ && !less(*last_, candidate)) || (full && !less(candidate, names_.front())) || !wanted_(*entry)) {
            continue;
        }
        if (full) {
            std::pop_heap(names_.begin(), names_.end(), less);
            names_.pop_back();
        }
        names_.emplace_back(candidate);
        std::push_heap(names_.begin(), names_.end(), less);
    }
    if (problem) {
        end_by(problem);
    }
    ended_ = names_.size() < batch_;
    std::sort_heap(names_.begin(), names_.end(), less);
    std::reverse(names_.begin(), names_.end());
}

std::optional<fs::path> folder_names::next()
{
    if (names_.empty() && !ended_) {
        order_ == name_order::as_read ? read_on() : read_batch();
    }
    if (names_.empty()) {
        return std::nullopt;
    }
    last_ = std::move(names_.back());
    names_.pop_back();
    return fs::path(*last_);
}

} // namespace host
