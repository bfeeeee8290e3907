# The bundle that the Mac's installer loads: `cmake --preset mac` on a Mac, `make mac` elsewhere.

if(NOT APPLE)
    message(FATAL_ERROR
            "The bundle for the installer can be built for a Mac alone: see mac/README.md")
endif()

enable_language(OBJCXX)
find_program(IBTOOL ibtool REQUIRED DOC "Compiles interface files; comes with Xcode")

# What the plug-in compiles and links against. CMAKE_OSX_DEPLOYMENT_TARGET, 10.15, is its oldest
# system. The arm64 slice needs no flag of its own: Apple silicon's oldest system is
# 11.0, and compiler and linker raise the slice's to that.
add_library(platform INTERFACE)
foreach(framework Cocoa CoreFoundation CoreGraphics InstallerPlugins IOKit)
    target_link_libraries(platform INTERFACE $<LINK_LIBRARY:FRAMEWORK,${framework}>)
endforeach()
# Missing on some systems: then it isn't loaded, and its functions read as NULL.
target_link_libraries(platform INTERFACE $<LINK_LIBRARY:WEAK_FRAMEWORK,CoreDisplay>)
# The private functions, which the SDK's lists of symbols may leave out. The linker accepts them as
# undefined, and the loader looks for them in everything that is loaded.
foreach(function
        CoreDisplay_DisplayCreateInfoDictionary
        IOAVServiceCopyEDID
        IOAVServiceCreateWithService
        IOAVServiceReadI2C
        IOAVServiceWriteI2C)
    target_link_options(platform INTERFACE LINKER:-U,_${function})
endforeach()
# Some functions that the plug-in calls have long been deprecated, without a successor.
target_compile_options(platform INTERFACE -Wno-deprecated-declarations)

file(GLOB cocoa CONFIGURE_DEPENDS Cocoa/*.mm)
add_library(VornDisplayCheck MODULE $<TARGET_OBJECTS:plugin> ${cocoa})
target_include_directories(VornDisplayCheck PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_options(VornDisplayCheck PRIVATE -fno-objc-arc)
target_link_libraries(VornDisplayCheck PRIVATE platform project_warnings)

# The list keeps templates of the standard library from being exported.
set(exported ${CMAKE_CURRENT_SOURCE_DIR}/exported-symbols.txt)
target_link_options(VornDisplayCheck PRIVATE LINKER:-exported_symbols_list,${exported})

set(resources ${CMAKE_CURRENT_SOURCE_DIR}/Resources)
set(information ${CMAKE_CURRENT_BINARY_DIR}/Info.plist)
configure_file(${resources}/Info.plist ${information} @ONLY)
set_target_properties(VornDisplayCheck PROPERTIES
    BUNDLE ON
    BUNDLE_EXTENSION bundle
    MACOSX_BUNDLE_INFO_PLIST ${information}
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}
    OBJCXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${exported})

file(GLOB tables RELATIVE ${resources} CONFIGURE_DEPENDS ${resources}/*.lproj/*.strings)
foreach(table IN LISTS tables)
    cmake_path(GET table PARENT_PATH folder)
    target_sources(VornDisplayCheck PRIVATE ${resources}/${table})
    set_source_files_properties(${resources}/${table} PROPERTIES
        MACOSX_PACKAGE_LOCATION Resources/${folder})
endforeach()

# Compiled into the bundle itself: depending on the oldest system, it is a file or a
# folder.
set(interface ${CMAKE_BINARY_DIR}/VornDisplayCheck.bundle/Contents/Resources/MyInstallerPane.nib)
add_custom_command(OUTPUT ${interface}
    COMMAND ${CMAKE_COMMAND} -E make_directory
            ${CMAKE_BINARY_DIR}/VornDisplayCheck.bundle/Contents/Resources
    COMMAND ${IBTOOL} --errors --warnings --notices --output-format human-readable-text
            --target-device mac --minimum-deployment-target ${CMAKE_OSX_DEPLOYMENT_TARGET}
            --compile ${interface} ${resources}/MyInstallerPane.xib
    DEPENDS ${resources}/MyInstallerPane.xib
    COMMENT "Compiling MyInstallerPane.xib"
    VERBATIM)
target_sources(VornDisplayCheck PRIVATE ${interface})
