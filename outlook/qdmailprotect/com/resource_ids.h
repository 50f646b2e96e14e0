#pragma once

// Numbers of the module's resources other than texts. They are plain macros because the resource script uses them too.
#define IDR_TYPE_LIBRARY 1
#define IDR_REGISTRY_SCRIPT 101
