#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Makes the CConnect of the product: over this machine, the product's broker and the scanning service. May raise.
ComPtr<IUnknown> NewConnect();
