# prefer_archives(TARGET NAME...): where all of these libraries are there as archives, links them in place
# of the shared library that TARGET, an imported target, stands for. The first one is that library, the
# others are what it needs.
function(prefer_archives target)
    set(found "")
    foreach(name IN LISTS ARGN)
        find_library(archive_${name} lib${name}.a)
        if(NOT archive_${name})
            return()
        endif()
        list(APPEND found ${archive_${name}})
    endforeach()
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "INTERFACE_LIBRARY")
        set_property(TARGET ${target} PROPERTY INTERFACE_LINK_LIBRARIES ${found})
    else()
        list(POP_FRONT found library)
        set_target_properties(${target} PROPERTIES IMPORTED_CONFIGURATIONS "" IMPORTED_LOCATION ${library}
                                                   IMPORTED_LOCATION_RELEASE ${library})
        set_property(TARGET ${target} APPEND PROPERTY INTERFACE_LINK_LIBRARIES ${found})
    endif()
endfunction()
