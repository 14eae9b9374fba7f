// The sample grabber's and the null renderer's declarations, as far as compilers' headers go.

#pragma once

#include <windows.h>

#include <strmif.h>

// Needs strmif.h.
#include <qedit.h>

// MinGW's headers lack these two; its libraries have them.
EXTERN_C const CLSID CLSID_SampleGrabber;
EXTERN_C const CLSID CLSID_NullRenderer;
