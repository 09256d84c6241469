# Sources of the Tools module
list(APPEND QuillmarshEngine_SRCS)
