#pragma once

#include <cstdlib>

/// Ends the program, so that the fuzzer keeps the input, when a condition does not hold.
#define FUZZ_CHECK(condition) ((condition) ? void() : std::abort())
