# Sources of the Math module
list(APPEND QuillmarshEngine_SRCS)
