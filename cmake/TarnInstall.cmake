# Installs the shared libraries with their SONAME links and public headers, each with a
# pkg-config file and a CMake package (find_package(tarndll) -> tarndll::tarndll, and the same
# for tarnvna), plus the simulator, the command-line tool and the Python package.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

file(RELATIVE_PATH TARN_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)

# The library target `name`, its header, and cmake/<name>Config.cmake.in and <name>.pc.in.
function(tarn_install_library name header)
    set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
    install(TARGETS ${name} EXPORT ${name}Targets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${package_dir})
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/${name}Config.cmake.in
        ${PROJECT_BINARY_DIR}/${name}Config.cmake INSTALL_DESTINATION ${package_dir})
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/${name}Config.cmake
                  ${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake
            DESTINATION ${package_dir})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

tarn_install_library(tarndll ${PROJECT_SOURCE_DIR}/include/tarndll.h)
if(TARGET tarnvna)
    tarn_install_library(tarnvna ${PROJECT_SOURCE_DIR}/vna/include/tarnvna.h)
endif()
foreach(tool tarn-sim tarnctl)
    if(TARGET ${tool})
        install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
endforeach()

# The Python package; installed there it finds the libraries two folders up (<prefix>/lib).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/tarn
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/python3/dist-packages
        PATTERN "__pycache__" EXCLUDE)
