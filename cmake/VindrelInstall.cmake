# What `cmake --install` puts where. Nothing that is installed names the prefix, so the tree may be moved afterwards.
include(CMakePackageConfigHelpers)

# pkg-config files find the prefix from their own place.
set(VINDREL_PC_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
  BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${VINDREL_PC_DIR}" OUTPUT_VARIABLE VINDREL_PC_LIBDIR)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR
  BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${VINDREL_PC_DIR}" OUTPUT_VARIABLE VINDREL_PC_INCLUDEDIR)

# vindrel_install_library(NAME): find_package(NAME), the target NAME::NAME, and `pkg-config NAME`.
function(vindrel_install_library name)
  install(TARGETS ${name} EXPORT ${name}Targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  set(folder "${CMAKE_INSTALL_LIBDIR}/cmake/${name}")
  set(VINDREL_PACKAGE ${name})
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/Config.cmake.in"
    "${PROJECT_BINARY_DIR}/${name}Config.cmake" INSTALL_DESTINATION "${folder}")
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
  install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION "${folder}")
  install(FILES "${PROJECT_BINARY_DIR}/${name}Config.cmake" "${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake"
    DESTINATION "${folder}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${VINDREL_PC_DIR}")
endfunction()

vindrel_install_library(VindrelRegLib)
install(FILES "${PROJECT_SOURCE_DIR}/include/VindrelRegLib.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
vindrel_install_library(vindrel)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/vindrel" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.hpp")
install(FILES "${PROJECT_SOURCE_DIR}/share/transforms.schema.json" DESTINATION "${CMAKE_INSTALL_DATADIR}/vindrel")

# The program installs itself (cli/CMakeLists.txt).
if(TARGET vindrel_cli)
  install(FILES "${PROJECT_SOURCE_DIR}/man/vindrel.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  install(FILES "${PROJECT_SOURCE_DIR}/share/vindrel.bash"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME vindrel)
  foreach(command align apply info simulate straighten)
    install(FILES "${PROJECT_SOURCE_DIR}/share/${command}.schema.json"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/vindrel")
  endforeach()
endif()
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/LICENSE"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")
