#pragma once

#include "store/message_object.h"
#include "store/outlook_bases.h"

namespace host {

/// The kind of item that the mail client creates for a message, depending on the message class.
enum class item_kind
{
    mail,
    meeting,
    task
};

/// One opened item: implements the interface of its kind and returns the message behind it.
class item final : public OutlookItemBase
{
public:
    item(item_kind kind, ComPtr<message_object> message);

    [[nodiscard]] message_object& message() const noexcept { return *message_; }

protected:
    HRESULT MapiObject(IUnknown** object) override;

private:
    ComPtr<message_object> message_;
};

/// Returns the kind for a message class: a meeting for "IPM.Schedule.Meeting...", a task for "IPM.Task...", and mail
/// for all others.
item_kind kind_of_class(std::wstring_view message_class);

} // namespace host
