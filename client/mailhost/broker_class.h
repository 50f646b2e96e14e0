#pragma once

#include "client/model/stand_in_broker.h"

namespace host {

/// Whether this program stands in for the product's broker, and with what. Without an answer its class is not there.
/// The program's manifest names the class, so that the whole process, and nobody else, finds it by its name.
void offer_broker(stand_in_broker::answer settings);

} // namespace host
