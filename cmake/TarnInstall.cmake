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
