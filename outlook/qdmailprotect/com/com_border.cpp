#include "outlook/qdmailprotect/com/com_border.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/mapi.h"

#include <exception>
#include <new>

namespace {

void TellException(const char* entry, const char* text) noexcept
{
    try {
        LOG_LINE(logging::outlook_log(), 200, "Exception in " << entry << ": " << text);
    } catch (...) {
        return; // an exception that cannot be logged must not reach the mail client either
    }
}

} // namespace

HRESULT ResultOfCurrentException(const char* entry) noexcept
{
    try {
        throw;
    } catch (const ComError& failure) {
        return FAILED(failure.Error()) ? failure.Error() : E_FAIL;
    } catch (const std::bad_alloc& failure) {
        TellException(entry, failure.what());
        return E_OUTOFMEMORY;
    } catch (const std::exception& failure) {
        TellException(entry, failure.what());
        return E_UNEXPECTED;
    } catch (...) {
        TellException(entry, "unknown");
        return E_UNEXPECTED;
    }
}
