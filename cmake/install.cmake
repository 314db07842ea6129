# The install tree: libraries in the shape that the loader searches, header, package files for CMake and pkg-config.
include(CMakePackageConfigHelpers)

set(ZELJ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)

install(TARGETS zelj zelcore zelj_static EXPORT zelj-targets)
foreach(target IN LISTS ZELJ_LEVEL_TARGETS)
  string(REPLACE zelj_ "" level ${target})
  install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/glibc-hwcaps/${level} NAMELINK_SKIP)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/include/zelj.h ${PROJECT_SOURCE_DIR}/core/zelcore.h TYPE INCLUDE)

install(EXPORT zelj-targets NAMESPACE zelj:: DESTINATION ${ZELJ_CMAKE_DIR})
write_basic_package_version_file(zelj-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/zelj-config.cmake ${PROJECT_BINARY_DIR}/zelj-config-version.cmake
        DESTINATION ${ZELJ_CMAKE_DIR})

file(RELATIVE_PATH ZELJ_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zelj.pc.in zelj.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zelj.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
