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

/// What a CConnect works with. All are required.
struct ConnectServices
{
    MailCheckerServices checker;
    std::shared_ptr<AddInEnvironment> environment;
    std::shared_ptr<LocalisedStrings> strings; ///< the texts that the checker's disinfector writes
};

/// The object that the mail client makes when it loads the add-in: starts everything at connection and stops
/// everything at disconnection, and binds the item events to the logic behind them. There is one in each process; all
/// of its operations run on the client's main thread. No exception gets out of any of them.
class CConnect final
    : public ComObject<DispatchByDescription<IConnect, IID_IConnect>,
                       DispatchByDescription<_IDTExtensibility2, IID__IDTExtensibility2>, IMailItemNotifications>
{
public:
    explicit CConnect(ConnectServices services);
    ~CConnect() override;

    /// Connects to `application`, the only argument that is looked at. E_FAIL when it is no mail client of a supported
    /// version or its events can't be had: then no MailChecker is started. Without the message store's library the
    /// add-in goes on, without conversion of messages.
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, std::int32_t connectMode, IDispatch* addInInstance,
                                           SAFEARRAY** custom) override;
    /// Stops everything, also after a failed connection. Each step is taken even if another one failed.
    HRESULT STDMETHODCALLTYPE OnDisconnection(std::int32_t removeMode, SAFEARRAY** custom) override;
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) override;
    /// The mail client has finished starting: from now on the first check may connect.
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
    bool mapiInitialized_ = false;
    ComPtr<IDispatch> application_;
    std::string processName_;
    std::string userSid_; ///< UTF-8
    std::uint32_t processId_ = 0;
    const std::shared_ptr<MailChecker> checker_;
    const ComPtr<MailEvents> events_; ///< the item handlers, connectNow and displayBlocked
};
