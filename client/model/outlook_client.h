#pragma once

#include "client/model/application.h"
#include "client/model/check_outcome.h"
#include "client/model/items.h"
#include "desk/run/opening.h"
#include "store/message_object.h"

#include <functional>
#include <optional>
#include <string>

namespace host {

/// Opens messages as the mail client does: each becomes an item that raises its events, from item load to unload, on
/// the calling thread. The add-ins are the sinks.
class outlook_client final : public message_opener
{
public:
    /// Returns the contents of an encrypted message; on failure returns nullopt and sets the reason for display.
    using envelope_opener =
        std::function<std::optional<message_record>(const message_record& enveloped, std::string& why)>;

    /// `outcome` receives the trace of the add-in. Without an opener encrypted messages stay closed.
    outlook_client(ComPtr<application> client, check_outcome& outcome, envelope_opener open_envelope = {});

    opening open(const std::shared_ptr<message_record>& stored) override;

private:
    /// Returns the object that the reader of a message sees: for an encrypted message its wrapper. `contents` receives
    /// the record that is behind it, without attachments if the message stays closed.
    [[nodiscard]] ComPtr<message_object> displayed(const message_record& stored, const ComPtr<message_object>& kept,
                                                   std::string& closed, message_record& contents) const;

    ComPtr<application> client_;
    check_outcome& outcome_;
    envelope_opener open_envelope_;
};

} // namespace host
