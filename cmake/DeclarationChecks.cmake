# What PlatformHeadersTest.cpp includes: checks of the declarations that docs/platform-declarations.md has.

function(add_declaration_checks target)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    set(page ${PROJECT_SOURCE_DIR}/docs/platform-declarations.md)
    set(script ${PROJECT_SOURCE_DIR}/simulated_mac/tests/include/make_declaration_checks.py)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/declaration_checks)
    file(MAKE_DIRECTORY ${folder})
    add_custom_command(OUTPUT ${folder}/declaration_checks.inc
        COMMAND Python3::Interpreter ${script} ${page} ${folder}/declaration_checks.inc
        DEPENDS ${script} ${page}
        VERBATIM)
    target_sources(${target} PRIVATE ${folder}/declaration_checks.inc)
    target_include_directories(${target} PRIVATE ${folder})
endfunction()
