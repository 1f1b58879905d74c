# What an install holds: the libraries, the public headers, a CMake package and a pkg-config file.
# It may be moved as a whole: nothing in it names the folder that it was installed to.
include(CMakePackageConfigHelpers)

# The folders of public headers. Everything in them is installed.
set(QUILT_PUBLIC_HEADER_FOLDERS
  ${PROJECT_SOURCE_DIR}/include/QUILT
  ${PROJECT_SOURCE_DIR}/include/UTIL
  ${PROJECT_SOURCE_DIR}/emulsion/include/EMULSION
  ${PROJECT_SOURCE_DIR}/bramble/include/Bramble3)

set(QUILT_CMAKE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/QUILT)
set(QUILT_PKGCONFIG_FOLDER ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS QUILT EMULSION
  EXPORT QUILTTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${QUILT_PUBLIC_HEADER_FOLDERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN *.h)
install(EXPORT QUILTTargets NAMESPACE QUILT:: DESTINATION ${QUILT_CMAKE_FOLDER})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QUILTConfig.cmake.in QUILTConfig.cmake
  INSTALL_DESTINATION ${QUILT_CMAKE_FOLDER})
# As long as the major version is 0, a minor version may break what the one before it promised.
write_basic_package_version_file(QUILTConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/QUILTConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/QUILTConfigVersion.cmake
  DESTINATION ${QUILT_CMAKE_FOLDER})

file(RELATIVE_PATH QUILT_PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_PREFIX}/${QUILT_PKGCONFIG_FOLDER} ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/quilt.pc.in quilt.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quilt.pc DESTINATION ${QUILT_PKGCONFIG_FOLDER})
