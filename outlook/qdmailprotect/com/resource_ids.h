#pragma once

// Numbers of the module's resources besides the texts; shared with the resource script, so plain macros.
#define IDR_TYPE_LIBRARY 1
#define IDR_REGISTRY_SCRIPT 101
