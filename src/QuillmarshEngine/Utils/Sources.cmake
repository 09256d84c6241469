list(APPEND QuillmarshEngine_SRCS
    Utils/IndexRange.cpp)
