#pragma once

#include "doctor/port_probe.h"
#include "doctor/scanner.h"

#include <chrono>
#include <string>

namespace doctor {

/// Asks a service by the product's own ICAP client.
class icap_scanner final : public scanner
{
public:
    /// `uri` has no leading "/". `longest` is the time for each answer.
    icap_scanner(endpoint peer, std::string uri, std::chrono::milliseconds longest);

    [[nodiscard]] options_answer options() override;
    [[nodiscard]] object_answer judge(const std::string& name, const std::string& bytes) override;

private:
    endpoint peer_;
    std::string uri_;
    std::chrono::milliseconds longest_;
};

} // namespace doctor
