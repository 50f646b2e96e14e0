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

/// Receives the meaning of one reply; exactly one operation is called for each reply.
class response_notifier
{
public:
    virtual void options(const std::string& istag, std::uint32_t preview, const std::vector<std::string>& methods) = 0;
    virtual void continue_(const std::string& istag) = 0;
    virtual void no_content(const std::string& istag) = 0;
    virtual void blocked(const std::string& istag, const std::string& threat,
                         const std::shared_ptr<response_message>& answer) = 0;
    virtual void repaired(const std::string& istag, const std::shared_ptr<response_message>& answer) = 0;
    virtual void error(const std::string& description) = 0;
    virtual ~response_notifier() = default;
};

/// A unit of work that a processor hands to its application.
class application_request
{
public:
    virtual void process(response_notifier* notifier) = 0;
    virtual void process(web::antivirus_service2* service) = 0;
    virtual ~application_request() = default;
};

} // namespace icap
