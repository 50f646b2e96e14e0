#pragma once

#include "outlook/qdmailprotect/access/converter_platform.h"
#include "tests/outlook/qdmailprotect/support/scripted_store.h"

#include <string>
#include <vector>

namespace test {

/// A platform whose converter session writes `mime` or returns given results. Must outlive its sessions.
class scripted_converter
{
public:
    explicit scripted_converter(scripted_store& store)
        : store_(store)
    {}
    scripted_converter(const scripted_converter&) = delete;
    scripted_converter& operator=(const scripted_converter&) = delete;

    std::string mime = "MIME-Version: 1.0\r\n\r\n";
    HRESULT session_result = S_OK; ///< of creating a session
    bool gives_session = true;
    HRESULT stream_result = S_OK; ///< of creating a stream
    bool gives_stream = true;
    HRESULT setting_result = S_OK; ///< of SetEncoding and SetSaveFormat
    HRESULT result = S_OK;         ///< of a conversion

    int sessions = 0;               ///< created so far
    int open_sessions = 0;          ///< not yet released
    int streams = 0;                ///< created so far
    int conversions = 0;            ///< requested so far
    std::vector<std::string> calls; ///< in order, with their arguments
    IMessage* message = nullptr;    ///< of the last conversion
    IStream* stream = nullptr;      ///< of the last conversion; no reference is held

    [[nodiscard]] ConverterPlatform platform();

private:
    class session;
    HRESULT make_session(IConverterSession** made);
    HRESULT make_stream(IStream** made);
    HRESULT convert(IMessage* from, IStream* to, ULONG flags);

    scripted_store& store_;
};

} // namespace test
