# Compiles and links for both kinds of Mac on Linux: with Debian's clang and lld, and the
# SDK that mac/make-sdk lays out.

set(CMAKE_SYSTEM_NAME Darwin)
cmake_path(SET CMAKE_OSX_SYSROOT NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/mac-sdk)

# Clang calls the tools next to it: the linker, and lipo to join the slices.
set(tools ${CMAKE_OSX_SYSROOT}/bin)
set(CMAKE_C_COMPILER ${tools}/clang)
set(CMAKE_CXX_COMPILER ${tools}/clang++)
set(CMAKE_OBJCXX_COMPILER ${tools}/clang++)
set(CMAKE_INSTALL_NAME_TOOL ${tools}/install_name_tool)
set(IBTOOL ${tools}/ibtool)

foreach(language C CXX OBJCXX)
    # The processors and the oldest system come from the preset, as on a Mac.
    set(CMAKE_${language}_COMPILER_TARGET x86_64-apple-darwin)
endforeach()
# The two macros are from a header of libc++ that the package lacks.
set(libcxx "-stdlib=libc++ -D_LIBCPP_ABI_VERSION=1 -D_LIBCPP_ABI_NAMESPACE=__1")
set(CMAKE_CXX_FLAGS_INIT ${libcxx})
set(CMAKE_OBJCXX_FLAGS_INIT ${libcxx})
foreach(kind EXE MODULE SHARED)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT -fuse-ld=lld)
endforeach()
