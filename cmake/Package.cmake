# Installs the library so that both find_package(quarlo) and pkg-config find it, wherever the prefix moves.
# Plug-ins go to <libdir>/quarlo, where the RUNPATH of the library leads.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quarlo)

install(TARGETS quarlo quarlo_static EXPORT quarloTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${QUARLO_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quarlo)

install(EXPORT quarloTargets NAMESPACE quarlo:: DESTINATION ${package_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/quarloConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/quarloConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/quarloConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quarloConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/quarloConfigVersion.cmake DESTINATION ${package_dir})

# The prefix is written relative to the file itself: `cmake --install --prefix` may choose another one.
cmake_path(SET pkgconfig_dir NORMALIZE
  ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${pkgconfig_dir}
  OUTPUT_VARIABLE prefix_from_pkgconfig)
foreach(package quarlo quarlo-links)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in
    ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
