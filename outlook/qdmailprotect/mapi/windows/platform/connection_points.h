#pragma once

// The system's declarations of connectable objects: IConnectionPointContainer, IConnectionPoint and their enumerators.
#include <platform/com.h>

#include <ocidl.h>
#include <olectl.h>
