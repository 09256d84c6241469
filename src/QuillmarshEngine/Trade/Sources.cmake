# Sources of the Trade module
list(APPEND QuillmarshEngine_SRCS)
list(APPEND QuillmarshEngine_SRCS
    Trade/ImageData.cpp
    Trade/MeshData.cpp
    Trade/VertexFormat.cpp)
list(APPEND QuillmarshEngine_SRCS
    Trade/AnimationData.cpp)
