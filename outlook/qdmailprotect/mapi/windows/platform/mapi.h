#pragma once

// The system's message store interfaces, records, codes and property tags.
#include <platform/com.h>

#include <mapix.h>
