// Which library this is: the numbers of the headers, and the text of the library that a program is running with.
#pragma once

#include "vindrel/api.hpp"

namespace vindrel {

/// @name The headers' version
/// @{

/// Of the headers that a program was compiled with.
inline constexpr int kVersionMajor = 1;
inline constexpr int kVersionMinor = 0;
inline constexpr int kVersionPatch = 0;
/// @}

/// "1.0.0", of the library that is loaded. It differs from the numbers above when the library was replaced after the
/// program was compiled; within one major version that is allowed.
VINDREL_API const char *version() noexcept;

} // namespace vindrel
