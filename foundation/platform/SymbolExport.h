#pragma once

/// Makes a function visible to whoever loads the shared library that it stands in.
#ifdef _WIN32
#define ALIDADE_PLATFORM_EXPORT __declspec(dllexport)
#else
#define ALIDADE_PLATFORM_EXPORT __attribute__((visibility("default")))
#endif
