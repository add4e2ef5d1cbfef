# The Debian packages, one an installed component; made by cpack in the build directory of the preset "package".
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarn-conference-common)
set(CPACK_PACKAGE_VENDOR "tarn")
set(CPACK_PACKAGE_CONTACT "The tarn developers <developers@localhost>")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools find the host platform in their own package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "libtarn-conference-common${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "${PROJECT_DESCRIPTION}
Logging with masking, calls and notifications between processes, timers, configuration, XML, JSON, certificates,
checks and digests. The program that loads the library brings a platform.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtarn-conference-common-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}), libcjson-dev, libtinyxml2-dev, libssl-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Headers, CMake and pkg-config files of libtarn_conference_common")

if(TARN_BUILD_HOST)
  list(APPEND CPACK_COMPONENTS_ALL host)
  set(CPACK_DEBIAN_HOST_PACKAGE_NAME tarn-host-platform)
  set(CPACK_DEBIAN_HOST_PACKAGE_SECTION devel)
  # tarnctl checks certificates with the library, which the search among installed packages cannot know.
  set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_HOST_PACKAGE_RECOMMENDS libtarn-conference-common-dev)
  set(CPACK_COMPONENT_HOST_DESCRIPTION "The platform of libtarn_conference_common for plain Linux, with its tools
Every call of the platform contract, working between the processes of one user, without a daemon; tarnctl shows and
changes what it keeps, tarn_launch starts the processes of an endpoint from one image.")
endif()

include(CPack)
