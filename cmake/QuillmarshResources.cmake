# Compiled-in resource groups: folders of files turned into one generated C++ source that the
# library's Utils::Resource looks up by group and file name.
#
#   quillmarsh_resource_group(<variable> NAME <group> DIRECTORY <dir> FILES <file>...)
#       appends the files (paths relative to <dir>, which are also their names in the group) to
#       the manifest held in <variable>
#   quillmarsh_generate_resources(<output.cpp> <manifest variable contents>...)
#       generates <output.cpp> at build time; it is regenerated when any of the files changes

set(QUILLMARSH_RESOURCE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/QuillmarshResourceCompile.cmake)

function(quillmarsh_resource_group variable)
    cmake_parse_arguments(ARG "" "NAME;DIRECTORY" "FILES" ${ARGN})
    set(entries ${${variable}})
    set(files ${ARG_FILES})
    list(SORT files)
    foreach(file ${files})
        list(APPEND entries "${ARG_NAME}|${ARG_DIRECTORY}/${file}|${file}")
    endforeach()
    set(${variable} ${entries} PARENT_SCOPE)
endfunction()

function(quillmarsh_generate_resources output)
    set(manifest ${output}.manifest)
    set(contents "")
    set(depends "")
    foreach(entry ${ARGN})
        string(APPEND contents "${entry}\n")
        string(REPLACE "|" ";" parts "${entry}")
        list(GET parts 1 path)
        list(APPEND depends ${path})
    endforeach()
    file(WRITE ${manifest}.in "${contents}")
    configure_file(${manifest}.in ${manifest} COPYONLY)
    add_custom_command(OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DMANIFEST=${manifest} -DOUTPUT=${output} -P ${QUILLMARSH_RESOURCE_SCRIPT}
        DEPENDS ${depends} ${manifest} ${QUILLMARSH_RESOURCE_SCRIPT}
        COMMENT "Compiling resources into ${output}"
        VERBATIM)
endfunction()
