#pragma once

// The system's own message store interfaces, records, codes and property tags.
#include <platform/com.h>

#include <mapix.h>
