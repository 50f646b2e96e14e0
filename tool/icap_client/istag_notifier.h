#pragma once

namespace icap::client {

/// Told by each session whose service changed its ISTag: what was learned from earlier verdicts no longer holds.
/// Called on a pool thread while the answer is being processed; must not call back into the session.
class istag_notifier
{
public:
    virtual void istag_changed() = 0;
    virtual ~istag_notifier() = default;
};

} // namespace icap::client
