// CUExport.h — the one macro that marks the library's public classes, functions and globals.
//
// The shared library is built with hidden visibility; only what carries CU_EXPORT is part of
// its binary interface.
#pragma once

#define CU_EXPORT __attribute__((visibility("default")))
