#include "mail/inputs/sorted_names.h"

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

sorted_names::sorted_names(fs::path folder, name_order order, filter wanted, std::size_t batch)
    : folder_(std::move(folder))
    , order_(order)
    , wanted_(std::move(wanted))
    , batch_(batch)
{}

bool sorted_names::is_less(const name& left, const name& right) const
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

/// Reads the lowest names above the last one that was returned. The heap has the highest of them in front.
void sorted_names::read_batch()
{
    const auto less = [this](const name& left, const name& right) { return is_less(left, right); };
    std::error_code problem;
    fs::directory_iterator entry(folder_, problem);
    for (; !problem && entry != fs::directory_iterator(); entry.increment(problem)) {
        name candidate = entry->path().filename().native();
        const bool full = names_.size() == batch_;
        if ((last_ && !less(*last_, candidate)) || (full && !less(candidate, names_.front())) || !wanted_(*entry)) {
            continue;
        }
        if (full) {
            std::pop_heap(names_.begin(), names_.end(), less);
            names_.pop_back();
        }
        names_.push_back(std::move(candidate));
        std::push_heap(names_.begin(), names_.end(), less);
    }
    if (problem) {
        ended_ = true;
        names_.clear();
        throw std::runtime_error("the folder cannot be read: " + problem.message());
    }
    ended_ = names_.size() < batch_;
    std::sort_heap(names_.begin(), names_.end(), less);
    std::reverse(names_.begin(), names_.end());
}

std::optional<fs::path> sorted_names::next()
{
    if (names_.empty() && !ended_) {
        read_batch();
    }
    if (names_.empty()) {
        return std::nullopt;
    }
    last_ = std::move(names_.back());
    names_.pop_back();
    return fs::path(*last_);
}

} // namespace host
