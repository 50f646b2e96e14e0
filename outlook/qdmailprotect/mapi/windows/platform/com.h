#pragma once

// The system's COM declarations: GUID, IUnknown, IStream, IStorage, IDispatch.
#include <platform/hresult.h>

#include <objbase.h>
#include <ole2.h>
#include <oleauto.h>

// The window property macro hides a message store helper of the same name.
#undef GetProp

// The system's interfaces have public non-virtual destructors; their objects are destroyed only by Release.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
