#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the fuzz run, so that the input is kept, when a property does not hold.
#define ZELKOR_REQUIRE(property)                                    \
    do {                                                            \
        if (!(property)) {                                          \
            std::fprintf(stderr, "does not hold: %s\n", #property); \
            std::abort();                                           \
        }                                                           \
    } while (false)
