# Sources of the Math module
list(APPEND QuillmarshEngine_SRCS)
list(APPEND QuillmarshEngine_SRCS
    Math/BoundingSphere.cpp
    Math/Dual.cpp
    Math/DualQuaternion.cpp
    Math/Matrix.cpp
    Math/Packing.cpp
    Math/Quaternion.cpp
    Math/Range.cpp
    Math/Vector.cpp)
