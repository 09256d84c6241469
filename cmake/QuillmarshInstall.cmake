# Install rules: headers, the versioned shared library, the CMake package, the pkg-config file
# and the command-line tools. Included by the top-level CMakeLists.txt after every target exists.
include(CMakePackageConfigHelpers)

set(QUILLMARSH_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QuillmarshEngine)

# libQuillmarshEngine.so -> .so.<major>.<minor> -> .so.<version>
install(TARGETS QuillmarshEngine EXPORT QuillmarshEngineTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/QuillmarshEngine DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h")

install(EXPORT QuillmarshEngineTargets NAMESPACE QuillmarshEngine::
    DESTINATION ${QUILLMARSH_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QuillmarshEngineConfig.cmake.in
    ${PROJECT_BINARY_DIR}/QuillmarshEngineConfig.cmake
    INSTALL_DESTINATION ${QUILLMARSH_PACKAGE_DIR})
# Before 1.0 a minor version may break the interface, as the soname says
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuillmarshEngineConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuillmarshEngineConfig.cmake ${PROJECT_BINARY_DIR}/QuillmarshEngineConfigVersion.cmake
    DESTINATION ${QUILLMARSH_PACKAGE_DIR})

file(RELATIVE_PATH QUILLMARSH_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" QUILLMARSH_PC_PREFIX "${QUILLMARSH_PC_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/QuillmarshEngine.pc.in ${PROJECT_BINARY_DIR}/QuillmarshEngine.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/QuillmarshEngine.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(QUILLMARSHENGINE_BUILD_TOOLS)
    install(TARGETS quillmarsh-asset quillmarsh-demo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The installed tree, checked the way a user takes it: installed under the build tree, then used
# by the examples through the CMake package and through pkg-config, and the README's
# add_subdirectory recipe. Sanitizer and fuzzer builds leave this to the plain build.
if(QUILLMARSHENGINE_BUILD_TESTS AND QUILLMARSHENGINE_BUILD_TOOLS AND NOT QUILLMARSHENGINE_SANITIZE AND NOT QUILLMARSHENGINE_BUILD_FUZZERS)
    set(prefix ${PROJECT_BINARY_DIR}/install-test)
    add_test(NAME InstallTree COMMAND ${CMAKE_COMMAND}
        -DBUILD_DIR=${PROJECT_BINARY_DIR} -DPREFIX=${prefix}
        -DLIBDIR=${CMAKE_INSTALL_LIBDIR} -DINCLUDEDIR=${CMAKE_INSTALL_INCLUDEDIR} -DBINDIR=${CMAKE_INSTALL_BINDIR}
        -DVERSION=${PROJECT_VERSION} -DSOVERSION=${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
        -P ${CMAKE_CURRENT_LIST_DIR}/QuillmarshInstallTest.cmake)
    set_tests_properties(InstallTree PROPERTIES FIXTURES_SETUP InstalledTree LABELS Install)

    set(buildAndTest ${CMAKE_CTEST_COMMAND} --build-and-test)
    set(generator --build-generator ${CMAKE_GENERATOR} --build-makeprogram ${CMAKE_MAKE_PROGRAM} --build-noclean)
    add_test(NAME ExampleInstalledPackage COMMAND ${buildAndTest}
        ${PROJECT_SOURCE_DIR}/examples/consumer ${PROJECT_BINARY_DIR}/examples/consumer ${generator}
        --build-options -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER} -DCMAKE_BUILD_TYPE=Release
        --test-command quillmarsh-consumer)
    add_test(NAME ExampleSubdirectory COMMAND ${buildAndTest}
        ${PROJECT_SOURCE_DIR}/examples/subdirectory ${PROJECT_BINARY_DIR}/examples/subdirectory ${generator}
        --build-options -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER} -DCMAKE_BUILD_TYPE=Release
        --test-command quillmarsh-subdirectory-host)
    add_test(NAME ExamplePkgConfig COMMAND ${CMAKE_COMMAND}
        -DPREFIX=${prefix} -DLIBDIR=${CMAKE_INSTALL_LIBDIR} -DCXX=${CMAKE_CXX_COMPILER}
        -DSOURCE=${PROJECT_SOURCE_DIR}/examples/consumer/main.cpp -DOUTPUT=${PROJECT_BINARY_DIR}/examples/pkgconfig/quillmarsh-consumer
        -P ${CMAKE_CURRENT_LIST_DIR}/QuillmarshPkgConfigTest.cmake)
    set_tests_properties(ExampleInstalledPackage ExamplePkgConfig PROPERTIES FIXTURES_REQUIRED InstalledTree LABELS Install)
    set_tests_properties(ExampleSubdirectory PROPERTIES LABELS Install)
endif()
