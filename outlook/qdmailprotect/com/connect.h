#pragma once

#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/check/mail_events.h"
#include "outlook/qdmailprotect/com/add_in_environment.h"
#include "outlook/qdmailprotect/com/extensibility.h"
#include "outlook/qdmailprotect/com/localised_strings.h"
#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/com/type_information.h"

#include <cstdint>
#include <memory>
#include <string>

/// The dependencies of a CConnect. All are required.
struct ConnectServices
{
    MailCheckerServices checker;
    std::shared_ptr<AddInEnvironment> environment;
    std::shared_ptr<LocalisedStrings> strings; ///< the texts that the checker's disinfector inserts
};

/// The object that the mail client creates when it loads the add-in. Starts all parts at connection, stops them at
/// disconnection, and connects the item events to the add-in's logic. There is one instance per process; all operations
/// run on the client's main thread. No operation throws.
class CConnect final
    : public ComObject<DispatchByDescription<IConnect, IID_IConnect>,
                       DispatchByDescription<_IDTExtensibility2, IID__IDTExtensibility2>, IMailItemNotifications>
{
public:
    explicit CConnect(ConnectServices services);
    ~CConnect() override;

    /// Connects to `application`; the other arguments are ignored. Returns E_FAIL if it is not a mail client of a
    /// supported version or if its events are not available; no MailChecker is started in that case. If the message
    /// store's library is missing, the add-in continues without conversion of messages.
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, std::int32_t connectMode, IDispatch* addInInstance,
                                           SAFEARRAY** custom) override;
    /// Stops all parts, even after a failed connection. Each step is executed even if another one fails.
    HRESULT STDMETHODCALLTYPE OnDisconnection(std::int32_t removeMode, SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
    /// Called when the mail client has finished starting. From now on the first check may connect.
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) override;

    HRESULT STDMETHODCALLTYPE OnReadComplete(IUnknown* item, std::int32_t* Cancel) override;
    HRESULT STDMETHODCALLTYPE OnUnload(IUnknown* item) override;
    HRESULT STDMETHODCALLTYPE OnSend(IUnknown* item, std::int32_t* Cancel) override;
    HRESULT STDMETHODCALLTYPE OnBeforeRead(IUnknown* item) override;
    HRESULT STDMETHODCALLTYPE OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment,
                                                     std::int32_t* Cancel) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    HRESULT Connect(IDispatch* application);
    void StartMapi();
    void StopParts(const char* entry) noexcept;
    HRESULT TakeApplication(IDispatch* application);
    HRESULT AdviseForEvents();
    void UnadviseEventsOfApplication();
    void StartChecker();
    void LoadLocalisation();
    void FindHostPath();
    void FindUser();

    ModuleReference module_;
    const std::shared_ptr<AddInEnvironment> environment_;
    const std::shared_ptr<LocalisedStrings> strings_;
    std::uint32_t applicationCookie_ = NotAdvised;
    bool connected_ = false; ///< OnConnection was called, and OnDisconnection was not
    bool mapiInitialized_ = false;
    ComPtr<IDispatch> application_;
    std::string processName_;
    std::string userSid_; ///< UTF-8
    std::uint32_t processId_ = 0;
    const std::shared_ptr<MailChecker> checker_;
    const ComPtr<MailEvents> events_; ///< the item handlers, connectNow and displayBlocked
};
