#pragma once
// What a fuzz target does when a promise is broken.

#include <cstdio>
#include <cstdlib>

/// Stops the run with the text of the promise, so that the fuzzer keeps the input.
#define FUZZ_CHECK(promise)                                       \
    do {                                                          \
        if (!(promise)) {                                         \
            std::fputs("broken promise: " #promise "\n", stderr); \
            std::abort();                                         \
        }                                                         \
    } while (false)
