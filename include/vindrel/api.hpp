// What the shared library shows of itself. Everything without this mark is hidden.
#pragma once

/// Marks what the shared library shows. Of no use to a host.
#if defined(__GNUC__)
#define VINDREL_API __attribute__((visibility("default")))
#else
#define VINDREL_API
#endif
