// Marks the library's exported classes and functions; everything else stays hidden. Both
// floors of the library include it from here, the bottom one.
#pragma once

#if defined(ZMIMPORT_STATIC_BUILD)
#define ZMIMPORT_API
#else
#define ZMIMPORT_API __attribute__((visibility("default")))
#endif
