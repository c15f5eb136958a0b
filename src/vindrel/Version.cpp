#include "vindrel/version.hpp"

namespace vindrel {

#define VINDREL_TEXT_OF(number) #number
#define VINDREL_TEXT(number) VINDREL_TEXT_OF(number)

static_assert(kVersionMajor == VINDREL_PROJECT_MAJOR && kVersionMinor == VINDREL_PROJECT_MINOR &&
                  kVersionPatch == VINDREL_PROJECT_PATCH,
              "the header's version is not the project's");

const char *version() noexcept {
  return VINDREL_TEXT(VINDREL_PROJECT_MAJOR) "." VINDREL_TEXT(VINDREL_PROJECT_MINOR) "." VINDREL_TEXT(
      VINDREL_PROJECT_PATCH);
}

} // namespace vindrel
