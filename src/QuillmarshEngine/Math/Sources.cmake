# Sources of the Math module
list(APPEND QuillmarshEngine_SRCS)
list(APPEND QuillmarshEngine_SRCS
    Math/BoundingSphere.cpp
    Math/Dual.cpp
    Math/DualQuaternion.cpp
    Math/Half.cpp
    Math/Intersection.cpp
    Math/Matrix.cpp
    Math/Packing.cpp
    Math/Quaternion.cpp
    Math/Range.cpp
    Math/Vector.cpp)
# Rounded exactly as the collision manager's passes, see Data/Sources.cmake
set_source_files_properties(Math/Intersection.cpp PROPERTIES COMPILE_OPTIONS "-ffp-contract=off")
