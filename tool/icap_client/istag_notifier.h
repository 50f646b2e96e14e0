#pragma once

namespace icap::client {

/// Receives a call from each session whose service changed its ISTag: knowledge from earlier verdicts is no longer
/// valid. Called on a pool thread while the answer is being processed; must not call back into the session.
class istag_notifier
{
public:
    virtual void istag_changed() = 0;
    virtual ~istag_notifier() = default;
};

} // namespace icap::client
