#pragma once

// The system's own COM base: GUID, IUnknown, IStream, IStorage, IDispatch.
#include <platform/hresult.h>

#include <objbase.h>
#include <ole2.h>
#include <oleauto.h>

// The window property macro takes the name of a message store helper.
#undef GetProp

// The system's interfaces have public destructors that are not virtual; their objects end by Release alone.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
