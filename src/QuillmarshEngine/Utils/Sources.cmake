list(APPEND QuillmarshEngine_SRCS
    Utils/IndexRange.cpp)
list(APPEND QuillmarshEngine_SRCS
    Utils/BitSet.cpp
    Utils/MemoryPartition.cpp)
