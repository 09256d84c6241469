# Sources of the Math module
list(APPEND QuillmarshEngine_SRCS)
list(APPEND QuillmarshEngine_SRCS
    Math/Dual.cpp
    Math/DualQuaternion.cpp
    Math/Matrix.cpp
    Math/Quaternion.cpp
    Math/Vector.cpp)
