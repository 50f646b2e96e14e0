#pragma once

#include "tool/icap_client/scan_result.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace doctor {

/// The service's answer to OPTIONS.
struct options_answer
{
    std::vector<std::string> methods;
    std::uint32_t preview = 0; ///< bytes
    std::string istag;         ///< empty: none
};

/// The service's answer about one object.
struct object_answer
{
    bool answered = false; ///< false: there is no verdict
    ScanResult result = ScanResult::None;
    std::string threat; ///< empty if nothing is condemned
    std::chrono::milliseconds spent{0};
};

/// Asks a scanning service. Each call uses a new connection. Throws std::exception with the reason in words if the
/// service cannot be reached or gives no answer.
class scanner
{
public:
    [[nodiscard]] virtual options_answer options() = 0;
    /// Sends an attachment of a mail, as the mail add-in does.
    [[nodiscard]] virtual object_answer judge(const std::string& name, const std::string& bytes) = 0;
    virtual ~scanner() = default;
};

} // namespace doctor
