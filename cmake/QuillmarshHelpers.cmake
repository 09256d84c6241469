# Shared compile settings and the one-line helpers for tests and benchmarks.

# Warnings every target of the project compiles with
add_library(QuillmarshWarnings INTERFACE)
target_compile_options(QuillmarshWarnings INTERFACE -Wall -Wextra $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
    $<$<BOOL:${QUILLMARSHENGINE_WERROR}>:-Werror>)

# quillmarsh_add_test(Module Class [SOURCES extra...] [LIBRARIES libs...] [LABELS labels...])
# Builds tests/<Module>/<Class>Test.cpp into the executable <Module><Class>Test, linked against the
# library's static test copy and the GoogleTest main, and registers it with CTest.
function(quillmarsh_add_test module class)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    set(name ${module}${class}Test)
    add_executable(${name} ${class}Test.cpp ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE QuillmarshEngineStatic QuillmarshWarnings GTest::gtest GTest::gtest_main ${ARG_LIBRARIES})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS "${module};${ARG_LABELS}")
endfunction()

# quillmarsh_add_benchmark(Name [SOURCES extra...] [LIBRARIES libs...])
# Builds bench/<Name>/<Name>Benchmark.cpp into bench<Name>, linked against Google Benchmark.
function(quillmarsh_add_benchmark name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(bench${name} ${name}Benchmark.cpp ${ARG_SOURCES})
    target_link_libraries(bench${name} PRIVATE QuillmarshEngineStatic QuillmarshWarnings benchmark::benchmark ${ARG_LIBRARIES})
endfunction()
