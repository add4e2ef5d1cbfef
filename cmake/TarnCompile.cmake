# How everything here is compiled: one standard, one set of warnings, ccache when there is one.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
  # Without this it would not keep what uses precompiled headers.
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE_PROGRAM}")
endif()

# For folders of programs that nobody steps through for long: in a debug build, lines for back traces but no variables,
# and no optimisation. They compile a third quicker.
macro(tarn_compile_quickly)
  add_compile_options("$<$<CONFIG:Debug>:-O0;-g1>")
endmacro()

find_package(Threads REQUIRED)

# Every target of the project links this one privately.
add_library(tarn_compile INTERFACE)
target_compile_options(tarn_compile INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  -fstack-protector-strong
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")
target_link_libraries(tarn_compile INTERFACE Threads::Threads)
# By these the host platform tells whether two processes run the same builds.
target_link_options(tarn_compile INTERFACE -Wl,--build-id)
if(TARN_SANITIZE)
  target_compile_options(tarn_compile INTERFACE "-fsanitize=${TARN_SANITIZE}" -fno-omit-frame-pointer
                         -fno-sanitize-recover=all)
  target_link_options(tarn_compile INTERFACE "-fsanitize=${TARN_SANITIZE}")
endif()
