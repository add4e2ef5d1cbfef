# What is installed, in three components: the library, what one builds with, and the host platform with its tools.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TARN_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/tarn_conference_common")

# Programs and libraries find each other wherever the prefix is moved to.
set(TARN_RELATIVE_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

install(TARGETS tarn_platform tarn_conference_common EXPORT tarn_conference_common
  LIBRARY COMPONENT library NAMELINK_COMPONENT dev)
install(EXPORT tarn_conference_common NAMESPACE Tarn:: FILE tarn_conference_common-targets.cmake
  DESTINATION "${TARN_CMAKE_DIR}" COMPONENT dev)
install(DIRECTORY include/tarn_conference platform/include/tarn_platform
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev FILES_MATCHING PATTERN "*.h")

configure_package_config_file(cmake/package/tarn_conference_common-config.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/tarn_conference_common-config.cmake" INSTALL_DESTINATION "${TARN_CMAKE_DIR}")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/tarn_conference_common-config-version.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/tarn_conference_common-config.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/tarn_conference_common-config-version.cmake"
  cmake/TarnDependencies.cmake
  DESTINATION "${TARN_CMAKE_DIR}" COMPONENT dev)

# pkg-config finds the prefix from where its file stands, so that an installed tree can be moved.
file(RELATIVE_PATH TARN_PREFIX_FROM_PKGCONFIG
  "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" TARN_PREFIX_FROM_PKGCONFIG "${TARN_PREFIX_FROM_PKGCONFIG}")

function(tarn_install_pkgconfig name component)
  configure_file(cmake/package/${name}.pc.in "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT ${component})
endfunction()
tarn_install_pkgconfig(tarn_conference_common dev)

if(TARN_BUILD_HOST)
  set_target_properties(tarn_host_platform tarnctl tarn_launch PROPERTIES INSTALL_RPATH "${TARN_RELATIVE_RPATH}")
  install(TARGETS tarn_host_platform EXPORT tarn_host_platform LIBRARY COMPONENT host)
  install(TARGETS tarnctl tarn_launch RUNTIME COMPONENT host)
  install(TARGETS tarn_openssl_engine LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/tarn" COMPONENT host)
  install(EXPORT tarn_host_platform NAMESPACE Tarn:: FILE tarn_host_platform-targets.cmake
    DESTINATION "${TARN_CMAKE_DIR}" COMPONENT host)
  install(DIRECTORY platform/host/include/tarn_host
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT host FILES_MATCHING PATTERN "*.h")
  tarn_install_pkgconfig(tarn_host_platform host)
  foreach(section 1 7)
    install(DIRECTORY docs/man/ DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT host
      FILES_MATCHING PATTERN "*.${section}")
  endforeach()
  install(DIRECTORY tools/completion/ DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions"
    COMPONENT host FILES_MATCHING PATTERN "tarn*")
endif()
