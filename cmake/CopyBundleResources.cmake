# Copies a bundle's resources for GNUstep: cmake -DFROM=folder -DTO=folder -DVERSION=1.2.3 -P this.
# GNUstep reads string tables as UTF-8 only after a byte-order mark, and expects the property list under
# a name of its own.

string(ASCII 239 187 191 mark)
file(GLOB_RECURSE files RELATIVE ${FROM} ${FROM}/*)
file(REMOVE_RECURSE ${TO})
foreach(file IN LISTS files)
    if(file MATCHES "\\.strings$")
        file(READ ${FROM}/${file} text)
        file(WRITE ${TO}/${file} "${mark}${text}")
    elseif(file STREQUAL "Info.plist")
        set(PROJECT_VERSION ${VERSION})
        configure_file(${FROM}/${file} ${TO}/Info-gnustep.plist @ONLY)
    else()
        configure_file(${FROM}/${file} ${TO}/${file} COPYONLY)
    endif()
endforeach()
