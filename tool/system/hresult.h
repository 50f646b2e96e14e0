#pragma once

// HRESULT and its constants: from the system headers on Windows, the same names and values elsewhere.
#include <platform/hresult.h>
