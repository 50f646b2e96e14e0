#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace web {
class antivirus_service2;
} // namespace web

namespace icap {

class response_message;

/// Receives the meaning of one response: exactly one function is called for each response, on the thread that processes
/// it. `istag` is the value of the ISTag header with its quotes, empty if absent. `answer` is the complete response,
/// shared.
class response_notifier
{
public:
    /// The service's answer to OPTIONS: the size of the preview in bytes, and the names in the Methods header.
    virtual void options(const std::string& istag, std::uint32_t preview, const std::vector<std::string>& methods) = 0;
    /// The service wants the bytes behind the preview.
    virtual void continue_(const std::string& istag) = 0;
    /// The service found nothing.
    virtual void no_content(const std::string& istag) = 0;
    /// The service condemned the object. `threat` is its name for the threat; empty if it gave none.
    virtual void blocked(const std::string& istag, const std::string& threat,
                         const std::shared_ptr<response_message>& answer) = 0;
    /// The service repaired the object; `answer` contains the repaired one.
    virtual void repaired(const std::string& istag, const std::shared_ptr<response_message>& answer) = 0;
    /// The response has another status. `description` is for the log.
    virtual void error(const std::string& description) = 0;
    virtual ~response_notifier() = default;
};

/// A unit of work that a processor passes to its application. The application calls one of the two functions, by its
/// role.
class application_request
{
public:
    virtual void process(response_notifier* notifier) = 0;
    virtual void process(web::antivirus_service2* service) = 0;
    virtual ~application_request() = default;
};

} // namespace icap
