# The libraries that the library is linked with. Its public headers name types of theirs, so users link them too.
find_package(OpenSSL 3.0 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(cjson REQUIRED IMPORTED_TARGET libcjson)
pkg_check_modules(tinyxml2 REQUIRED IMPORTED_TARGET tinyxml2)
