#pragma once

#include "doctor/port_owner.h"

#include <filesystem>

namespace doctor {

/// The ports according to the system's process folder. The owner's program is only readable by itself and root.
class proc_port_table final : public port_table
{
public:
    explicit proc_port_table(std::filesystem::path folder = "/proc");

    [[nodiscard]] port_owner owner_of(const endpoint& peer) override;

private:
    std::filesystem::path folder_;
};

} // namespace doctor
