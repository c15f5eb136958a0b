# Compiler options shared by every target of the project, as one interface library.
find_package(OpenMP REQUIRED COMPONENTS CXX)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(hwy REQUIRED IMPORTED_TARGET libhwy>=1.0.3)

add_library(vindrel_options INTERFACE)
target_include_directories(vindrel_options INTERFACE
  "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/include")
target_compile_options(vindrel_options INTERFACE
  # A fused multiply-add rounds once where the contract rounds twice: results would depend on the target.
  -ffp-contract=off -fno-fast-math
  # Exported functions never call each other, so nothing may be interposed in between.
  -fno-semantic-interposition
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wundef -Wcast-qual
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
if(VINDREL_WARNINGS_AS_ERRORS)
  target_compile_options(vindrel_options INTERFACE -Werror)
endif()
# Kernels are compiled for SSE4, AVX2, AVX-512 and a fallback, and the best is chosen at run time. The step between the
# fallback and SSE4 is left out: it costs build time and serves processors older than 2008.
target_compile_definitions(vindrel_options INTERFACE HWY_DISABLED_TARGETS=HWY_SSSE3)
target_link_libraries(vindrel_options INTERFACE OpenMP::OpenMP_CXX Threads::Threads PkgConfig::hwy)

set(VINDREL_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
if(VINDREL_SANITIZE)
  add_compile_options(-fsanitize=${VINDREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VINDREL_SANITIZE})
endif()
option(VINDREL_COVERAGE "Instrument for gcov" OFF)
if(VINDREL_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# vindrel_layer(NAME DEPENDS... SOURCES...): one object library a source folder. A layer names the layers it may use;
# tests/abi checks the includes against the same order.
function(vindrel_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(vindrel_${name} OBJECT ${ARG_SOURCES})
  target_link_libraries(vindrel_${name} PUBLIC vindrel_options)
  foreach(used IN LISTS ARG_USES)
    if(TARGET vindrel_${used})
      get_target_property(type vindrel_${used} TYPE)
      add_dependencies(vindrel_${name} vindrel_${used})
    endif()
  endforeach()
  set_property(GLOBAL APPEND PROPERTY VINDREL_LAYERS vindrel_${name})
endfunction()
