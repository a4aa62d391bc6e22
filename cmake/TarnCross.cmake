# Cross-compiling: what the native build takes from the host's packages comes from elsewhere.
# The host's /usr/include must never reach the cross compiler (its C library headers are
# x86-64's), so header-only packages are seen through a directory of their own, and
# GoogleTest is built from Debian's source tree with the cross compiler.
if(NOT CMAKE_CROSSCOMPILING)
    return()
endif()

if(NOT TARGET nlohmann_json::nlohmann_json AND EXISTS /usr/include/nlohmann/json.hpp)
    set(host_headers ${PROJECT_BINARY_DIR}/host-headers)
    file(MAKE_DIRECTORY ${host_headers})
    file(CREATE_LINK /usr/include/nlohmann ${host_headers}/nlohmann SYMBOLIC)
    add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED GLOBAL)
    set_target_properties(nlohmann_json::nlohmann_json PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES ${host_headers})
    # find_package then takes the version from Debian's package files and finds the target made.
    set(nlohmann_json_DIR /usr/share/cmake/nlohmann_json CACHE PATH "" FORCE)
endif()

if(NOT TARGET CLI11::CLI11 AND EXISTS /usr/include/CLI/CLI.hpp)
    set(host_headers ${PROJECT_BINARY_DIR}/host-headers)
    file(MAKE_DIRECTORY ${host_headers})
    file(CREATE_LINK /usr/include/CLI ${host_headers}/CLI SYMBOLIC)
    add_library(CLI11::CLI11 INTERFACE IMPORTED GLOBAL)
    set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${host_headers})
endif()

if(TARN_BUILD_TESTS AND NOT TARGET GTest::gtest AND EXISTS /usr/src/googletest/CMakeLists.txt)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    # GoogleTest's own build names its targets GTest::gtest and GTest::gtest_main as well.
endif()
