# tarn_export_exactly(TARGET SYMBOLS_FILE): the shared library exports exactly the names listed
# in SYMBOLS_FILE ('#' starts a comment line). The linker version script is made from the list,
# so nothing else (inline or template code from the standard library included) leaks.
function(tarn_export_exactly target symbols_file)
    file(STRINGS ${symbols_file} symbols REGEX "^[^#]")
    set(script "{\n  global:\n")
    foreach(symbol ${symbols})
        string(APPEND script "    ${symbol};\n")
    endforeach()
    string(APPEND script "  local: *;\n};\n")
    set(map ${PROJECT_BINARY_DIR}/${target}.map)
    file(CONFIGURE OUTPUT ${map} CONTENT "${script}")
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                 ${symbols_file})
    target_link_options(${target} PRIVATE -Wl,--version-script=${map} -Wl,--no-undefined)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
