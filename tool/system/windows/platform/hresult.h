#pragma once

#include <winsock2.h> // ahead of windows.h, which would bring the old one
#include <windows.h>
