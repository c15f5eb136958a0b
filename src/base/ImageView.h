// Pixels as the library sees them. The types are the C++ interface's own. The layers below that interface know 8 and 16
// bits a sample only; floats end there.
#pragma once

#include "vindrel/image.hpp"
