# Script mode: installs the build tree BUILD_DIR into a fresh PREFIX and checks what a user of the
# installed tree relies on: the headers, the versioned shared library and its links, the CMake
# package, the pkg-config file, and tools that run from there.
cmake_minimum_required(VERSION 3.20)

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
    RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()

foreach(file
        ${INCLUDEDIR}/QuillmarshEngine/Data/SceneGraph.h
        ${INCLUDEDIR}/QuillmarshEngine/Math/DualQuaternion.h
        ${LIBDIR}/libQuillmarshEngine.so.${VERSION}
        ${LIBDIR}/cmake/QuillmarshEngine/QuillmarshEngineConfig.cmake
        ${LIBDIR}/cmake/QuillmarshEngine/QuillmarshEngineConfigVersion.cmake
        ${LIBDIR}/cmake/QuillmarshEngine/QuillmarshEngineTargets.cmake
        ${LIBDIR}/pkgconfig/QuillmarshEngine.pc
        ${BINDIR}/quillmarsh-asset
        ${BINDIR}/quillmarsh-demo)
    if(NOT EXISTS ${PREFIX}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()
foreach(link libQuillmarshEngine.so libQuillmarshEngine.so.${SOVERSION})
    if(NOT IS_SYMLINK ${PREFIX}/${LIBDIR}/${link})
        message(FATAL_ERROR "not a link: ${LIBDIR}/${link}")
    endif()
endforeach()

# The package requires C++20 of its users
file(READ ${PREFIX}/${LIBDIR}/cmake/QuillmarshEngine/QuillmarshEngineTargets.cmake targets)
if(NOT targets MATCHES "INTERFACE_COMPILE_FEATURES \"cxx_std_20\"")
    message(FATAL_ERROR "the exported target does not carry cxx_std_20")
endif()

# The installed tools find the installed library
execute_process(COMMAND ${PREFIX}/${BINDIR}/quillmarsh-asset --help
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
if(NOT result EQUAL 0 OR NOT output MATCHES "^Usage: quillmarsh-asset")
    message(FATAL_ERROR "the installed quillmarsh-asset does not run: ${result} ${error}")
endif()
