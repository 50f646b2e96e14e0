#pragma once

#include "outlook/qdmailprotect/check/mail_events.h"
#include "outlook/qdmailprotect/com/event_sink.h"

/// Listens to the application's events. Kept alive by the application's reference while it is advised.
class ApplicationEventSink final : public EventSink
{
public:
    explicit ApplicationEventSink(ComPtr<MailEvents> events);

protected:
    void Handle(DISPID event, const VARIANT* argument) override;

private:
    ComPtr<MailEvents> events_;
};
