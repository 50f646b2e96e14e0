#include "client/broker/security_layer_provider.h"

#include "client/broker/broker_config.h"
#include "desk/settings/settings_file.h"
#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/mapi/com_error.h"

namespace host {

namespace {

void put_text(VARIANT& value)
{
    value.bstrVal = ::SysAllocString(L"settings");
    if (!value.bstrVal) {
        throw ComError(E_OUTOFMEMORY);
    }
    value.vt = VT_BSTR;
}

HRESULT configured_answer(VARIANT& value)
{
    const broker_config config = read_broker_config();
    switch (config.answer) {
    case broker_config::answer_kind::failed_call:
        return E_FAIL;
    case broker_config::answer_kind::text:
        put_text(value);
        return S_OK;
    case broker_config::answer_kind::bytes:
        break;
    }
    try {
        return put_bytes(load_settings_bytes(config.settings_file), value);
    } catch (const settings_file_error&) {
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    }
}

} // namespace

security_layer_provider::security_layer_provider()
    : stand_in_broker([](VARIANT& value) { return ComBorder("Invoke", [&value] { return configured_answer(value); }); })
{}

} // namespace host
