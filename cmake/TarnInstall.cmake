# Installs the shared library with its SONAME links, the public header, the simulator, a
# pkg-config file and a CMake package (find_package(tarndll) -> tarndll::tarndll).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS tarndll EXPORT tarndllTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/tarndll.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET tarn-sim)
    install(TARGETS tarn-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT tarndllTargets NAMESPACE tarndll::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarndll)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tarndllConfig.cmake.in
    ${PROJECT_BINARY_DIR}/tarndllConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarndll)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarndllConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarndllConfig.cmake
              ${PROJECT_BINARY_DIR}/tarndllConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarndll)

file(RELATIVE_PATH TARN_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/tarndll.pc.in ${PROJECT_BINARY_DIR}/tarndll.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarndll.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# libtarnvna and tarnctl: the companion library with its own header, pkg-config file and CMake
# package (find_package(tarnvna) -> tarnvna::tarnvna), and the command-line tool.
if(TARGET tarnvna)
    install(TARGETS tarnvna EXPORT tarnvnaTargets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${PROJECT_SOURCE_DIR}/vna/include/tarnvna.h
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(EXPORT tarnvnaTargets NAMESPACE tarnvna::
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnvna)
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tarnvnaConfig.cmake.in
        ${PROJECT_BINARY_DIR}/tarnvnaConfig.cmake
        INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnvna)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarnvnaConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/tarnvnaConfig.cmake
                  ${PROJECT_BINARY_DIR}/tarnvnaConfigVersion.cmake
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnvna)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/tarnvna.pc.in ${PROJECT_BINARY_DIR}/tarnvna.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/tarnvna.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
if(TARGET tarnctl)
    install(TARGETS tarnctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The Python package; installed there it finds the libraries two folders up (<prefix>/lib).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/tarn
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/python3/dist-packages
        PATTERN "__pycache__" EXCLUDE)
