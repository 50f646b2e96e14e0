#pragma once

#include "client/model/stand_in_broker.h"

namespace host {

/// Makes this program replace the product's broker, with the given settings. If `settings` is empty, its class is not
/// available. The program's manifest names the class, so that it is found by its name in this process only.
void offer_broker(stand_in_broker::answer settings);

/// Makes this program create the broker that is registered for the machine, through COM, in place of one of its own.
/// offer_broker ends that.
void offer_registered_broker();

} // namespace host
