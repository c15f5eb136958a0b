# What `cmake --install` puts where. Nothing that is installed names the prefix, so the tree may be moved afterwards.
include(CMakePackageConfigHelpers)

install(TARGETS VindrelRegLib EXPORT VindrelRegLibTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES "${PROJECT_SOURCE_DIR}/include/VindrelRegLib.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

# find_package(VindrelRegLib) and the target VindrelRegLib::VindrelRegLib.
set(VINDREL_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/VindrelRegLib")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VindrelRegLibConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VindrelRegLibConfig.cmake" INSTALL_DESTINATION "${VINDREL_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VindrelRegLibConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(EXPORT VindrelRegLibTargets NAMESPACE VindrelRegLib:: DESTINATION "${VINDREL_CMAKE_DIR}")
install(FILES "${PROJECT_BINARY_DIR}/VindrelRegLibConfig.cmake" "${PROJECT_BINARY_DIR}/VindrelRegLibConfigVersion.cmake"
  DESTINATION "${VINDREL_CMAKE_DIR}")

# pkg-config VindrelRegLib. The prefix is found from the file's own place.
set(VINDREL_PC_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
  BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${VINDREL_PC_DIR}" OUTPUT_VARIABLE VINDREL_PC_LIBDIR)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR
  BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${VINDREL_PC_DIR}" OUTPUT_VARIABLE VINDREL_PC_INCLUDEDIR)
configure_file("${PROJECT_SOURCE_DIR}/cmake/VindrelRegLib.pc.in" "${PROJECT_BINARY_DIR}/VindrelRegLib.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/VindrelRegLib.pc" DESTINATION "${VINDREL_PC_DIR}")

# The program installs itself (cli/CMakeLists.txt).
if(TARGET vindrel_cli)
  install(FILES "${PROJECT_SOURCE_DIR}/man/vindrel.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
endif()
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/LICENSE"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")
