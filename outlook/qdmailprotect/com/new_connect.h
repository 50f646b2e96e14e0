#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Creates the product's CConnect, which uses this machine, the product's broker and the scanning service. May throw.
ComPtr<IUnknown> NewConnect();
