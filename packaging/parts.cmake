# plug_part(COMPONENTS NAME VERSION LICENCE RELATION FILE) notes, for the list of parts (SBOM) of the packages that are
# made of these components, what somebody else made: its version as found by the build, its licence as an SPDX
# expression, how it is linked (DYNAMIC_LINK or STATIC_LINK), and a file of it, by which Debian's package is found.
function(plug_part components name version licence relation file)
    foreach(component ${components})
        set_property(GLOBAL APPEND PROPERTY PLUG_PARTS_${component}
            "{\"name\": \"${name}\", \"version\": \"${version}\", \"license\": \"${licence}\", \"relation\": \"${relation}\", \"file\": \"${file}\"}")
    endforeach()
endfunction()
