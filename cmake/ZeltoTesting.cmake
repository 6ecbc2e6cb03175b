# zelto_add_qtest(<name> SOURCES <files...> LIBS <targets...> [TIMEOUT <seconds>])
#
# One QtTest executable, registered with CTest. The environment pins the
# platform and the font DPI so that text metrics and pixel checks are the same
# on every machine, with or without a display.
function(zelto_add_qtest name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
    add_test(NAME ${name} COMMAND ${name})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 300)
    endif()
    set(env "QT_QPA_PLATFORM=offscreen;QT_FONT_DPI=96")
    if(TARGET zelto-target-sim)
        # End-to-end tests start the simulated target from here.
        list(APPEND env "ZELTO_SIM=$<TARGET_FILE:zelto-target-sim>")
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${env}")
endfunction()
