list(APPEND QuillmarshEngine_SRCS
    Data/Id.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SparseArray.cpp)
