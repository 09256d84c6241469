# Script mode: compiles and links the one-file program SOURCE with nothing but the flags
# pkg-config gives for the tree installed at PREFIX, and runs it.
cmake_minimum_required(VERSION 3.20)

find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs QuillmarshEngine
    RESULT_VARIABLE result OUTPUT_VARIABLE flags ERROR_VARIABLE error OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "pkg-config failed: ${error}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")

get_filename_component(directory ${OUTPUT} DIRECTORY)
file(MAKE_DIRECTORY ${directory})
# The run-time search path is the test's own business: the library is not in a system directory
execute_process(COMMAND ${CXX} ${SOURCE} ${flags} -Wl,-rpath,${PREFIX}/${LIBDIR} -o ${OUTPUT}
    RESULT_VARIABLE result ERROR_VARIABLE error)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "compiling with pkg-config's flags (${flags}) failed:\n${error}")
endif()
execute_process(COMMAND ${OUTPUT} RESULT_VARIABLE result OUTPUT_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "the program built with pkg-config's flags failed: ${result}\n${output}")
endif()
