#include "outlook/qdmailprotect/check/session_lookup.h"

#include "tool/system/identity.h"
#include "tool/system/win32_codes.h"

namespace {

class SystemLookup final : public SessionLookup
{
public:
    [[nodiscard]] std::uint32_t CurrentProcess() const override { return winapi::current_process_id(); }
    std::uint32_t FindSession(std::uint32_t process, std::uint32_t& session) const override
    {
        return winapi::process_id_to_session_id(process, session) ? 0 : winapi::last_error_code();
    }
};

} // namespace

const SessionLookup& SystemSessionLookup()
{
    static const SystemLookup lookup;
    return lookup;
}
