#pragma once

#include "mail/inputs/message_finder.h"

#include <optional>
#include <utility>
#include <vector>

namespace host::test {

/// The messages at places that a test lists.
class listed_messages final : public message_source
{
public:
    explicit listed_messages(std::vector<message_place> places)
        : places_(std::move(places))
    {}
    std::optional<message_place> next() override
    {
        return next_ < places_.size() ? std::optional(places_[next_++]) : std::nullopt;
    }

private:
    std::vector<message_place> places_;
    std::size_t next_ = 0;
};

} // namespace host::test
