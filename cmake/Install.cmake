# What an installation holds: the headers, both libraries, a CMake package and pkg-config files. All
# of it may be moved as a whole: every path is relative to the file that holds it.

include(CMakePackageConfigHelpers)

install(TARGETS nuvcore nuvcv EXPORT NuvCVTargets)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# find_package(NuvCV): the targets NuvCV::nuvcv and NuvCV::nuvcore.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/NuvCV)
install(EXPORT NuvCVTargets NAMESPACE NuvCV:: DESTINATION ${package_dir})
configure_package_config_file(cmake/NuvCVConfig.cmake.in NuvCVConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(NuvCVConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NuvCVConfig.cmake ${PROJECT_BINARY_DIR}/NuvCVConfigVersion.cmake
        DESTINATION ${package_dir})

# pkg-config: the prefix is told from where the file lies.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
           BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE up_to_prefix)
set(pc_includedir "\${prefix}")
set(pc_libdir "\${prefix}")
cmake_path(APPEND pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
cmake_path(APPEND pc_libdir ${CMAKE_INSTALL_LIBDIR})
foreach(name nuvcore nuvcv)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_dir})
endforeach()
