# GNUstep as clang finds it on Debian: the target `gnustep`.

function(gnustep_words option pattern result)
    execute_process(COMMAND ${GNUSTEP_CONFIG} ${option} OUTPUT_VARIABLE words
                    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    separate_arguments(words UNIX_COMMAND "${words}")
    list(FILTER words INCLUDE REGEX "${pattern}")
    set(${result} ${words} PARENT_SCOPE)
endfunction()

gnustep_words(--objc-flags "^-[Df]" flags)
gnustep_words(--gui-libs "^-l" libraries)

# GCC has the runtime's headers and library. Clang must see only these of its include folder: the rest
# would replace clang's own.
file(GLOB runtimes /usr/lib/gcc/*/*/include/objc)
list(GET runtimes -1 runtime)
set(runtime_headers ${CMAKE_BINARY_DIR}/gnustep/include)
file(MAKE_DIRECTORY ${runtime_headers})
file(CREATE_LINK ${runtime} ${runtime_headers}/objc SYMBOLIC)
cmake_path(SET runtime_library NORMALIZE "${runtime}/../..")

add_library(gnustep INTERFACE)
target_compile_options(gnustep INTERFACE
    "$<$<COMPILE_LANGUAGE:OBJCXX>:${flags};-Wno-deprecated-declarations>")
target_include_directories(gnustep SYSTEM INTERFACE ${runtime_headers} /usr/include/GNUstep)
target_link_directories(gnustep INTERFACE ${runtime_library})
target_link_libraries(gnustep INTERFACE ${libraries})

# Keeps a bundle's resources in step with their sources.
function(copy_bundle_resources target from to)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${from}/*)
    set(copied ${CMAKE_CURRENT_BINARY_DIR}/${target}-resources)
    add_custom_command(OUTPUT ${copied}
        COMMAND ${CMAKE_COMMAND} -DFROM=${from} -DTO=${to} -DVERSION=${PROJECT_VERSION}
                -P ${PROJECT_SOURCE_DIR}/cmake/CopyBundleResources.cmake
        COMMAND ${CMAKE_COMMAND} -E touch ${copied}
        DEPENDS ${sources} ${PROJECT_SOURCE_DIR}/cmake/CopyBundleResources.cmake)
    add_custom_target(${target}_resources DEPENDS ${copied})
    add_dependencies(${target} ${target}_resources)
endfunction()
