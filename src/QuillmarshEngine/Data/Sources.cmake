list(APPEND QuillmarshEngine_SRCS
    Data/Id.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SparseArray.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SceneGraph.cpp
    Data/Implementation/TransformSweep.cpp)
