#include "outlook/qdmailprotect/com/connect.h"

#include "logging/logging.h"
#include "logging/trace_configuration.h"
#include "outlook/qdmailprotect/com/application_event_sink.h"
#include "outlook/qdmailprotect/com/item_event_sink.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "outlook/qdmailprotect/com/outlook_version.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/late_bound.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/system/conversions.h"
#include "tool/system/errors.h"

#include <utility>

CConnect::CConnect(ConnectServices services)
    : environment_(std::move(services.environment))
    , strings_(std::move(services.strings))
    , checker_(std::make_shared<MailChecker>(services.checker))
    , events_(MakeCom<MailEvents>(checker_, std::make_shared<ItemConnectionPoints>(), services.checker.clock))
{
    events_->SetOwner(this);
}

CConnect::~CConnect()
{
    events_->SetOwner(nullptr); // the application's sink may outlive this object
    // A client may release the object without disconnecting, above all one whose connection was rejected.
    if (connected_) {
        StopParts("~CConnect");
    }
}

void* CConnect::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IConnect) {
        return static_cast<IConnect*>(this);
    }
    if (iid == IID__IDTExtensibility2) {
        return static_cast<_IDTExtensibility2*>(this);
    }
    return iid == IID_IMailItemNotifications ? static_cast<IMailItemNotifications*>(this) : nullptr;
}

HRESULT STDMETHODCALLTYPE CConnect::OnConnection(IDispatch* application, std::int32_t, IDispatch*, SAFEARRAY**)
{
    connected_ = true;
    return ComBorder("OnConnection", [&] { return Connect(application); });
}

HRESULT CConnect::Connect(IDispatch* application)
{
    logging::apply_trace_configuration();
    LOG_LINE(logging::outlook_log(), 400, "-===  Initializing the Add-in");
    StartMapi();
    ComPtr<IDispatch> outlook;
    if (!application || FAILED(Query(application, IID_OutlookApplication, outlook)) || !outlook) {
        return E_FAIL;
    }
    HRESULT result = TakeApplication(outlook.get());
    if (SUCCEEDED(result)) {
        result = AdviseForEvents();
    }
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Initialization failure");
        return result;
    }
    try {
        StartChecker();
    } catch (...) {
        // No item events may arrive after a connection for which a failure is reported.
        UnadviseEventsOfApplication();
        throw;
    }
    LOG_LINE(logging::outlook_log(), 400, "-===  Add-in initialization succeeded");
    return S_OK;
}

void CConnect::StartMapi()
{
    const HRESULT result = environment_->InitializeMapi();
    if (SUCCEEDED(result)) {
        mapiInitialized_ = true;
    } else {
        LOG_LINE(logging::outlook_log(), 200, "Failed to initialize MAPI, hr = 0x" << HexResult(result));
    }
}

/// Stores the application if its version is supported.
HRESULT CConnect::TakeApplication(IDispatch* application)
{
    std::wstring name;
    std::wstring version;
    GetLateBoundText(application, DispIdApplicationName, name);
    GetLateBoundText(application, DispIdApplicationVersion, version);
    LOG_LINE(logging::outlook_log(), 400,
             "AppName: " << winapi::conv_to_char(name) << ", AppVer: " << winapi::conv_to_char(version));
    if (!IsSupportedVersion(version)) {
        LOG_LINE(logging::outlook_log(), 200, "This Outlook version is not supported");
        return E_FAIL;
    }
    if (FAILED(Query(application, IID_OutlookApplication, application_)) || !application_) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to obtain extended Application interface");
        return E_FAIL;
    }
    return S_OK;
}

HRESULT CConnect::AdviseForEvents()
{
    if (applicationCookie_ != NotAdvised) {
        throw ComError(E_FAIL);
    }
    const auto sink = MakeCom<ApplicationEventSink>(events_);
    if (FAILED(AdviseEvents(application_.get(), IID_ApplicationEvents, sink.get(), applicationCookie_))) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to advise for Outlook12 application events");
        return E_FAIL;
    }
    return S_OK;
}

void CConnect::UnadviseEventsOfApplication()
{
    UnadviseEvents(application_.get(), IID_ApplicationEvents, std::exchange(applicationCookie_, NotAdvised));
}

void CConnect::StartChecker()
{
    LoadLocalisation();
    FindHostPath();
    processId_ = environment_->ProcessId();
    FindUser();
    checker_->Init(mapiInitialized_, processId_, processName_, userSid_);
}

void CConnect::LoadLocalisation()
{
    try {
        strings_->LoadLibraryBeside(environment_->ModulePath());
    } catch (const error::win32exception&) {
        strings_->FreeLibrary(); // the add-in's own texts are used
    }
}

void CConnect::FindHostPath()
{
    processName_.clear();
    try {
        processName_ = environment_->HostPath();
    } catch (const error::win32exception& failure) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get module name, err = " << failure.code());
    }
}

void CConnect::FindUser()
{
    const std::wstring name = environment_->UserName();
    const std::wstring sid = environment_->UserSid(name);
    LOG_LINE(logging::outlook_log(), 400,
             "Current user: " << winapi::conv_to_char(name) << ", SID: " << winapi::conv_to_char(sid));
    userSid_ = winapi::conv_to_char(sid, winapi::code_page_utf8);
}

HRESULT STDMETHODCALLTYPE CConnect::OnDisconnection(std::int32_t, SAFEARRAY**)
{
    constexpr const char* entry = "OnDisconnection";
    const ComPtr<IConnect> alive(static_cast<IConnect*>(this));
    EventBorder(entry, [] { LOG_LINE(logging::outlook_log(), 400, "-===  Disconnecting the Add-in"); });
    StopParts(entry);
    return EventBorder(entry, [] { LOG_LINE(logging::outlook_log(), 400, "-===  Disconnection finished"); });
}

/// Executes each step even if another one fails; `entry` names the operation in the log.
void CConnect::StopParts(const char* entry) noexcept
{
    connected_ = false;
    EventBorder(entry, [this] { checker_->Close(); });
    if (std::exchange(mapiInitialized_, false)) {
        EventBorder(entry, [this] { environment_->UninitializeMapi(); });
    }
    EventBorder(entry, [this] { events_->ReleaseHandlers(); });
    if (application_) {
        EventBorder(entry, [this] { UnadviseEventsOfApplication(); });
    }
    strings_->FreeLibrary();
}

HRESULT STDMETHODCALLTYPE CConnect::OnAddInsUpdate(SAFEARRAY**)
{
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CConnect::OnStartupComplete(SAFEARRAY**)
{
    return EventBorder("OnStartupComplete", [this] {
        events_->SetConnectNow();
        LOG_LINE(logging::outlook_log(), 400, "Add-in startup complete");
    });
}

HRESULT STDMETHODCALLTYPE CConnect::OnBeginShutdown(SAFEARRAY**)
{
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CConnect::OnReadComplete(IUnknown* item, std::int32_t* Cancel)
{
    return ComBorder("OnReadComplete", [&] { return events_->OnReadComplete(item, Cancel); });
}

HRESULT STDMETHODCALLTYPE CConnect::OnUnload(IUnknown* item)
{
    return ComBorder("OnUnload", [&] { return events_->OnUnload(item); });
}

HRESULT STDMETHODCALLTYPE CConnect::OnSend(IUnknown* item, std::int32_t* Cancel)
{
    return ComBorder("OnSend", [&] { return events_->OnSend(item, Cancel); });
}

HRESULT STDMETHODCALLTYPE CConnect::OnBeforeRead(IUnknown* item)
{
    return ComBorder("OnBeforeRead", [&] { return events_->OnBeforeRead(item); });
}

HRESULT STDMETHODCALLTYPE CConnect::OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment, std::int32_t* Cancel)
{
    return ComBorder("OnBeforeAttachmentRead",
                     [&] { return events_->OnBeforeAttachmentRead(item, attachment, Cancel); });
}
