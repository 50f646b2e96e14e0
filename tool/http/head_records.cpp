#include "tool/http/head_records.h"

#include "tool/system/conversions.h"

#include <algorithm>

namespace http {

bool field_less::operator()(range left, range right) const noexcept
{
    if (left.empty() || right.empty()) {
        return false;
    }
    const std::size_t shared = std::min(left.size(), right.size());
    const int order = winapi::compare_no_case(left.substr(0, shared), right.substr(0, shared));
    return order != 0 ? order < 0 : left.size() < right.size();
}

} // namespace http
