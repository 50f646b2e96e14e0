#pragma once

#include "service/engine/scan_engine.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace service {

/// A scan by a function that needs the whole object, possibly more than once.
class whole_object_scan final : public object_scan
{
public:
    using judge = std::function<verdict(web::io_data& object)>;

    explicit whole_object_scan(judge judged)
        : judge_(std::move(judged))
    {}

    bool data(std::string_view /*piece*/) override { return false; }
    [[nodiscard]] verdict finish(web::io_data& object) override { return judge_(object); }

private:
    judge judge_;
};

} // namespace service
