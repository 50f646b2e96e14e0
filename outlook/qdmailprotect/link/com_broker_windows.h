#pragma once

#include "outlook/qdmailprotect/link/settings_broker.h"

/// The product's own broker: a COM object that gives the settings by a late-bound call.
class ComBroker final : public SettingsBroker
{
public:
    static constexpr const wchar_t* ProgId = L"QD.SecurityLayerProvider";

    /// Enters a multithreaded apartment for the length of the visit, or goes on in the one that this thread has.
    [[nodiscard]] std::unique_ptr<Visit> Begin() override;
};
