#pragma once

#include "doctor/program_file.h"

namespace doctor {

/// Reads the header and the version resource of files.
class system_program_files final : public program_files
{
public:
    [[nodiscard]] program_file look(const std::string& path) override;
};

} // namespace doctor
