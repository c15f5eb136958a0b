// What every transforms file has to fulfil, whether it is to be written or was read.
#pragma once

#include "vindrel/transforms_file.hpp"

#include <string>

namespace vindrel {

// What is wrong, by the names that the fields have in the file; empty when nothing is.
std::string transformsError(const TransformsFile &transforms);

} // namespace vindrel
