list(APPEND QuillmarshEngine_SRCS
    Utils/IndexRange.cpp)
list(APPEND QuillmarshEngine_SRCS
    Utils/BitSet.cpp
    Utils/MemoryPartition.cpp)

# Runtime services: file names and whole files, time
list(APPEND QuillmarshEngine_SRCS
    Utils/Clock.cpp
    Utils/Path.cpp)

# Shader source tooling: tokenizer, output buffer, preprocessor, includes and tags
list(APPEND QuillmarshEngine_SRCS
    Utils/Preprocessor.cpp
    Utils/StringWriter.cpp
    Utils/Token.cpp)

# Compiled-in resource groups, among them the shader library
include(QuillmarshResources)
include(${PROJECT_SOURCE_DIR}/shaders/Shaders.cmake)
quillmarsh_resource_group(QuillmarshEngine_RESOURCES NAME QuillmarshEngineShaders
    DIRECTORY ${PROJECT_SOURCE_DIR}/shaders FILES ${QuillmarshEngineShaders_FILES})
quillmarsh_generate_resources(${CMAKE_CURRENT_BINARY_DIR}/Utils/Resources.cpp ${QuillmarshEngine_RESOURCES})
list(APPEND QuillmarshEngine_SRCS
    Utils/Resource.cpp
    Utils/ShaderTools.cpp
    ${CMAKE_CURRENT_BINARY_DIR}/Utils/Resources.cpp)
