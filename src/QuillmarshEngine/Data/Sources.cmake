list(APPEND QuillmarshEngine_SRCS
    Data/Id.cpp)
