# Sources of the Tools module
list(APPEND QuillmarshEngine_SRCS)
# Mesh chunks can carry meshoptimizer-compressed vertex and index data
find_package(meshoptimizer REQUIRED)
list(APPEND QuillmarshEngine_LIBRARIES meshoptimizer::meshoptimizer)
list(APPEND QuillmarshEngine_SRCS
    Tools/MeshFormat.cpp)
