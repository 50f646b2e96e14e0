#include "outlook/qdmailprotect/com/new_connect.h"

#include "outlook/qdmailprotect/com/connect.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "outlook/qdmailprotect/link/com_broker_windows.h"
#include "outlook/qdmailprotect/link/scanner_link.h"

#include <memory>
#include <utility>

namespace {

std::shared_ptr<ConnectionSource> NewScannerLink()
{
    ScannerLinkServices services;
    services.broker = std::make_shared<ComBroker>();
    return std::make_shared<ScannerLink>(std::move(services));
}

} // namespace

ComPtr<IUnknown> NewConnect()
{
    ConnectServices services;
    services.environment = std::make_shared<SystemEnvironment>();
    services.strings = std::make_shared<LocalisedStrings>();
    services.checker.link = NewScannerLink();
    services.checker.disinfector = MakeMailDisinfector(services.strings);
    const auto connect = MakeCom<CConnect>(std::move(services));
    return ComPtr<IUnknown>(static_cast<IConnect*>(connect.get()));
}
