#include "vindrel/AlignStack.h"
