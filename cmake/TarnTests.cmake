# Unit tests (tests/unit) need nothing but the library; lab tests (tests/lab) run on the host
# side of the network lab and talk to peers on its units side.
if(NOT TARGET GTest::gtest)
    find_package(GTest REQUIRED)
endif()
include(GoogleTest)

file(GLOB TARN_SUPPORT_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/support/*.cpp)
add_library(tarn_testsupport STATIC ${TARN_SUPPORT_SOURCES}
            ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
target_include_directories(tarn_testsupport PUBLIC ${PROJECT_SOURCE_DIR}/tests/support)
target_link_libraries(tarn_testsupport PUBLIC tarn_static GTest::gtest)
if(TARGET tarn_sim)
    target_link_libraries(tarn_testsupport PUBLIC tarn_sim)
endif()
# Tests run other programs of the build through the emulator when cross-compiling.
string(JOIN " " TARN_EMULATOR ${CMAKE_CROSSCOMPILING_EMULATOR})
if(TARGET tarnctl)
    string(STRIP "${TARN_EMULATOR} $<TARGET_FILE:tarnctl>" tarnctl_tool)
    target_compile_definitions(tarn_testsupport PUBLIC TARNCTL_TOOL="${tarnctl_tool}")
endif()
target_compile_definitions(tarn_testsupport PUBLIC
    TARN_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    TARN_SHARED_LIBRARY="$<TARGET_FILE:tarndll>"
    TARN_NM="${CMAKE_NM}" TARN_OBJDUMP="${CMAKE_OBJDUMP}")

file(GLOB TARN_UNIT_TESTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/unit/*.cpp)
foreach(source ${TARN_UNIT_TESTS})
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE tarn_testsupport GTest::gtest_main ${CMAKE_DL_LIBS})
    add_dependencies(${name} tarndll)
    if(name MATCHES "^test_(vna|abi)" AND TARGET tarnvna)
        target_link_libraries(${name} PRIVATE tarnvna)
        target_compile_definitions(${name} PRIVATE
            TARNVNA_SHARED_LIBRARY="$<TARGET_FILE:tarnvna>")
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES LABELS unit)
endforeach()

# No file under src/ includes a layer above its own, and the include graph has no cycle.
add_test(NAME check-layers COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-layers)
set_tests_properties(check-layers PROPERTIES LABELS unit)

# The lab is made once per run and shared by every lab test; each lab test binds its own port
# (tests that must share port 1024 take the "port1024" lock).
set(TARN_NETLAB ${PROJECT_SOURCE_DIR}/scripts/netlab)
add_test(NAME netlab.up COMMAND ${TARN_NETLAB} up)
add_test(NAME netlab.down COMMAND ${TARN_NETLAB} down)
set_tests_properties(netlab.up PROPERTIES FIXTURES_SETUP netlab LABELS lab
    ENVIRONMENT "TARNLAB_PREFIX=${TARN_LAB_PREFIX}" SKIP_RETURN_CODE 77)
set_tests_properties(netlab.down PROPERTIES FIXTURES_CLEANUP netlab LABELS lab
    ENVIRONMENT "TARNLAB_PREFIX=${TARN_LAB_PREFIX}")

file(GLOB TARN_LAB_TESTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/lab/*.cpp)
foreach(source ${TARN_LAB_TESTS})
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE tarn_testsupport GTest::gtest_main)
    add_test(NAME lab.${name}
             COMMAND ${TARN_NETLAB} exec-host ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}>)
    set_tests_properties(lab.${name} PROPERTIES
        FIXTURES_REQUIRED netlab LABELS lab SKIP_RETURN_CODE 77 TIMEOUT 240
        ENVIRONMENT "TARNLAB_PREFIX=${TARN_LAB_PREFIX}")
    file(STRINGS ${source} needs_port_1024 REGEX "TARN_LAB_USES_PORT_1024")
    if(needs_port_1024)
        set_tests_properties(lab.${name} PROPERTIES RESOURCE_LOCK port1024)
    endif()
endforeach()


# C consumers: compiled as C99 against the public header, linked with the shared library only.
file(GLOB TARN_C_TESTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/c/test_c_*.c)
foreach(source ${TARN_C_TESTS})
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source})
    set_target_properties(${name} PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
    target_link_libraries(${name} PRIVATE tarndll m)
    if(name MATCHES "_lab_")
        # Runs against a simulated unit without a switch board at 192.168.1.11.
        add_test(NAME lab.${name}
                 COMMAND ${PROJECT_SOURCE_DIR}/tests/c/with_sim.sh $<TARGET_FILE:tarn-sim> none
                         192.168.1.11 1278 $<TARGET_FILE:${name}>)
        set_tests_properties(lab.${name} PROPERTIES FIXTURES_REQUIRED netlab LABELS lab
            SKIP_RETURN_CODE 77
            ENVIRONMENT "TARNLAB_PREFIX=${TARN_LAB_PREFIX};TARN_EMULATOR=${TARN_EMULATOR}")
    else()
        add_test(NAME c.${name} COMMAND ${name})
        set_tests_properties(c.${name} PROPERTIES LABELS unit)
    endif()
endforeach()

# An outside program built against the installed prefix, with find_package and with pkg-config.
# (Not in sanitizer builds: the outside program would have to load the sanitizer runtime; not
# when cross-compiling: the consumer is built with the host's compiler.)
if(NOT TARN_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME install.consumer
             COMMAND ${PROJECT_SOURCE_DIR}/tests/install/run.sh ${PROJECT_BINARY_DIR})
    set_tests_properties(install.consumer PROPERTIES LABELS unit)
endif()

# Writes one sweep's samples as text; scripts/test-arm compares the ARM and x86-64 builds' output.
add_executable(sweep_dump ${PROJECT_SOURCE_DIR}/tests/c/sweep_dump.c)
set_target_properties(sweep_dump PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
target_link_libraries(sweep_dump PRIVATE tarndll)

# The Python package's tests against simulated units. An ARM build's libraries cannot load into
# this machine's interpreter, nor sanitized ones without the sanitizer runtime preloaded.
if(CMAKE_CROSSCOMPILING OR TARN_SANITIZE)
    add_test(NAME lab.python COMMAND sh -c
             "echo 'python tests: this build cannot load into the host Python; skipped'; exit 77")
    set_tests_properties(lab.python PROPERTIES LABELS lab SKIP_RETURN_CODE 77)
elseif(TARGET tarnctl)
    add_test(NAME lab.python
             COMMAND ${PROJECT_SOURCE_DIR}/tests/python/run.sh $<TARGET_FILE:tarn-sim>
                     $<TARGET_FILE:tarnctl> $<TARGET_FILE_DIR:tarndll> $<TARGET_FILE_DIR:tarnvna>)
    set_tests_properties(lab.python PROPERTIES FIXTURES_REQUIRED netlab LABELS lab
        SKIP_RETURN_CODE 77 TIMEOUT 120 RESOURCE_LOCK port1024
        ENVIRONMENT "TARNLAB_PREFIX=${TARN_LAB_PREFIX}")
endif()
