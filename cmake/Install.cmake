# What `cmake --install` puts where: the library, its public headers, the CMake package and the
# pkg-config file. All of them find each other by relative paths, so the tree may be moved.

include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/routepolicy)

install(TARGETS routepolicy EXPORT routepolicyTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT routepolicyTargets NAMESPACE routepolicy:: DESTINATION ${package_dir})

# Headers keep their folders, since they include each other as "platform/orb/base/Ptr.h". Those in a
# folder detail/ come along: templates need them, though nobody else is to include them.
foreach(header IN LISTS library_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/routepolicy/${folder})
endforeach()

configure_package_config_file(cmake/routepolicyConfig.cmake.in routepolicyConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(routepolicyConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/routepolicyConfig.cmake
              ${PROJECT_BINARY_DIR}/routepolicyConfigVersion.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/routepolicy.pc.in routepolicy.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/routepolicy.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
