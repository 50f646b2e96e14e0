#pragma once

#include "broker/access_rules.h"

#include <filesystem>
#include <string>

namespace packaging {

/// The folder of the machine's configuration, and what is in it.
class configured_files
{
public:
    /// A backslash at the end of `folder` is ignored: with it a link would be followed.
    explicit configured_files(const std::filesystem::path& folder);

    [[nodiscard]] const std::filesystem::path& folder() const noexcept { return folder_; }
    [[nodiscard]] std::filesystem::path options() const;  ///< of the service
    [[nodiscard]] std::filesystem::path settings() const; ///< of the add-in
    [[nodiscard]] std::filesystem::path logs() const;

private:
    std::filesystem::path folder_;
};

/// Writes the options of the service unless `rules` accept those that are there. `port` and `engines` are PORT, which
/// may be empty, and ENGINE. `program` is the service, which must accept what was written; otherwise it is removed
/// again. Throws std::exception.
void configure_service(const configured_files& files, const broker::access_rules& rules, const std::string& port,
                       const std::string& engines, const std::wstring& program);

/// Writes the settings of the add-in unless `rules` accept those that are there. Throws std::exception.
void configure_broker(const configured_files& files, const broker::access_rules& rules, const std::string& port);

} // namespace packaging
