list(APPEND QuillmarshEngine_SRCS
    Data/Id.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SparseArray.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SceneGraph.cpp
    Data/Implementation/TransformSweep.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SparseArrayActive.cpp
    Data/ComponentManager.cpp
    Data/SparseArrayGrouped.cpp
    Data/GroupedComponentManager.cpp
    Data/NameManager.cpp)
