#pragma once

#include "outlook/qdmailprotect/link/settings_broker.h"

/// The product's broker: a COM object that returns the settings through a late-bound call.
class ComBroker final : public SettingsBroker
{
public:
    static constexpr const wchar_t* ProgId = L"QD.SecurityLayerProvider";

    /// Enters a multithreaded apartment for the duration of the visit, or uses the apartment that this thread is
    /// already in.
    [[nodiscard]] std::unique_ptr<Visit> Begin() override;
};
